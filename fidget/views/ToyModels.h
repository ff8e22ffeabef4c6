// The toys' state as QML sees it, and the gestures it hands on. The rules are the toys' own. Main
// thread.
#pragma once

#include "fidget/ClickyButton.h"
#include "fidget/PopGrid.h"
#include "fidget/SpinDial.h"
#include "fidget/ToggleSwitch.h"
#include "platform/Clock.h"

#include <QtQml/qqmlregistration.h>

#include <QList>
#include <QObject>
#include <QPointF>

namespace morvel {

class ToggleSwitchModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made with the drawer")
    Q_PROPERTY(bool isOn READ isOn NOTIFY isOnChanged)

public:
    explicit ToggleSwitchModel(FidgetSound sound)
        : toggle_(sound) {}

    bool isOn() const { return toggle_.isOn(); }
    Q_INVOKABLE void tap();

signals:
    void isOnChanged();

private:
    ToggleSwitch toggle_;
};

class ClickyButtonModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made with the drawer")
    Q_PROPERTY(bool isPressed READ isPressed NOTIFY isPressedChanged)

public:
    explicit ClickyButtonModel(FidgetSound sound)
        : button_(sound) {}

    bool isPressed() const { return button_.isPressed(); }
    Q_INVOKABLE void dragChanged();
    Q_INVOKABLE void dragEnded();

signals:
    void isPressedChanged();

private:
    ClickyButton button_;
};

class PopGridModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made with the drawer")
    Q_PROPERTY(int rows READ rows CONSTANT)
    Q_PROPERTY(int columns READ columns CONSTANT)
    Q_PROPERTY(QList<bool> popped READ popped NOTIFY poppedChanged)
    Q_PROPERTY(bool canReset READ canReset NOTIFY poppedChanged)

public:
    explicit PopGridModel(FidgetSound sound)
        : grid_(sound) {}

    static int rows() { return PopGrid::rows; }
    static int columns() { return PopGrid::columns; }
    QList<bool> popped() const; // by bubble
    bool canReset() const { return grid_.canReset(); }
    Q_INVOKABLE void tap(int index);
    Q_INVOKABLE void reset();

signals:
    void poppedChanged();

private:
    PopGrid grid_;
};

class SpinDialModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made with the drawer")
    Q_PROPERTY(double rotation READ rotation NOTIFY rotationChanged)

public:
    // All must outlive it.
    SpinDialModel(const AppSettings& settings, AudioEngine& audio, const Clock& clock)
        : dial_(settings, audio)
        , clock_(clock) {}

    double rotation() const { return dial_.rotation(); } // degrees
    Q_INVOKABLE void dragChanged(const QPointF& point, const QPointF& centre);
    Q_INVOKABLE void dragEnded();
    Q_INVOKABLE void turn(int detents);

signals:
    void rotationChanged();

private:
    SpinDial dial_;
    const Clock& clock_;
};

} // namespace morvel
