// A value that follows its target as a spring does, a step each frame. At rest it asks for no
// frame. Main thread.
#pragma once

#include "fidget/Spring.h"

#include <QtQml/qqmlregistration.h>

#include <QAbstractAnimation>
#include <QObject>
#include <QQmlParserStatus>

namespace morvel {

class SpringValue : public QObject, public QQmlParserStatus {
    Q_OBJECT
    QML_ELEMENT
    Q_INTERFACES(QQmlParserStatus)
    Q_PROPERTY(qreal target READ target WRITE setTarget NOTIFY targetChanged)
    Q_PROPERTY(qreal response MEMBER response_)
    Q_PROPERTY(qreal dampingFraction MEMBER dampingFraction_)
    Q_PROPERTY(qreal value READ value NOTIFY valueChanged)

public:
    explicit SpringValue(QObject* parent = nullptr);

    // Response and damping are those of the first moment, and the first target is where the value
    // begins.
    qreal target() const { return target_; }
    void setTarget(qreal target);
    qreal value() const { return spring_.value(); }
    bool isMoving() const { return frames_.state() == QAbstractAnimation::Running; }

signals:
    void targetChanged();
    void valueChanged();

private:
    // Frames without an end.
    class Frames : public QAbstractAnimation {
    public:
        explicit Frames(SpringValue& value)
            : value_(value) {}
        int duration() const override { return -1; }

    protected:
        void updateCurrentTime(int milliseconds) override;

    private:
        SpringValue& value_;
        int last_ = 0;
    };

    void classBegin() override {}
    void componentComplete() override;
    void advance(double seconds);

    qreal target_ = 0;
    qreal response_ = 0.3;
    qreal dampingFraction_ = 1;
    bool complete_ = false;
    Spring spring_{0.3, 1};
    Frames frames_{*this};
};

} // namespace morvel
