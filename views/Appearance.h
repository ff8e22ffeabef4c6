// The colours that views draw with, taken from the desktop's palette and following it. Main thread.
#pragma once

#include <QtQml/qqmlregistration.h>

#include <QColor>
#include <QObject>

namespace morvel {

class Appearance : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(bool dark READ dark NOTIFY changed)
    Q_PROPERTY(QColor accent READ accent NOTIFY changed)
    Q_PROPERTY(QColor accentText READ accentText NOTIFY changed)
    Q_PROPERTY(QColor secondary READ secondary NOTIFY changed)
    Q_PROPERTY(QColor tertiary READ tertiary NOTIFY changed)
    Q_PROPERTY(QColor text READ text NOTIFY changed)
    Q_PROPERTY(QColor window READ window NOTIFY changed)
    Q_PROPERTY(QColor textBackground READ textBackground NOTIFY changed)
    Q_PROPERTY(QColor separator READ separator NOTIFY changed)
    Q_PROPERTY(QColor green READ green NOTIFY changed)
    Q_PROPERTY(QColor orange READ orange NOTIFY changed)

public:
    explicit Appearance(QObject* parent = nullptr);

    bool dark() const; // light text on a dark window
    QColor accent() const;
    QColor accentText() const; // on the accent colour
    // Text of less and of least weight; both readable on the window's colour.
    QColor secondary() const;
    QColor tertiary() const;
    QColor text() const;
    QColor window() const;
    QColor textBackground() const; // of lists and fields
    QColor separator() const;
    QColor green() const;
    QColor orange() const;

    // `color` at `opacity` 0 to 1.
    Q_INVOKABLE static QColor faded(const QColor& color, qreal opacity);

    // From `from` (share 0, and below) to `to` (share 1, and above), opacity included.
    Q_INVOKABLE static QColor blended(const QColor& from, const QColor& to, qreal share);

    bool eventFilter(QObject* watched, QEvent* event) override;

signals:
    void changed();
};

} // namespace morvel
