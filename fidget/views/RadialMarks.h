// Capsules that stand around a centre at even angles, the first one upright at an angle of 0: the
// notches of a dial, or its pointer. Main thread, but for painting.
#pragma once

#include "views/PaintedShape.h"

#include <QColor>

namespace morvel {

class RadialMarks : public PaintedShape {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY shapeChanged)
    Q_PROPERTY(int count READ count WRITE setCount NOTIFY shapeChanged)
    Q_PROPERTY(int longEvery READ longEvery WRITE setLongEvery NOTIFY shapeChanged)
    Q_PROPERTY(qreal thickness READ thickness WRITE setThickness NOTIFY shapeChanged)
    Q_PROPERTY(qreal length READ length WRITE setLength NOTIFY shapeChanged)
    Q_PROPERTY(qreal longLength READ longLength WRITE setLongLength NOTIFY shapeChanged)
    Q_PROPERTY(qreal offset READ offset WRITE setOffset NOTIFY shapeChanged)
    Q_PROPERTY(qreal angle READ angle WRITE setAngle NOTIFY shapeChanged)

public:
    using PaintedShape::PaintedShape;

    QColor color() const { return color_; }
    void setColor(const QColor& color) { assign(color_, color); }
    int count() const { return count_; }
    void setCount(int count) { assign(count_, count); }
    // Every so manieth mark, beginning with the first, has the long length; 0: none.
    int longEvery() const { return longEvery_; }
    void setLongEvery(int every) { assign(longEvery_, every); }
    qreal thickness() const { return thickness_; }
    void setThickness(qreal thickness) { assign(thickness_, thickness); }
    qreal length() const { return length_; }
    void setLength(qreal length) { assign(length_, length); }
    qreal longLength() const { return longLength_; }
    void setLongLength(qreal length) { assign(longLength_, length); }
    // From the centre of the item to that of a mark.
    qreal offset() const { return offset_; }
    void setOffset(qreal offset) { assign(offset_, offset); }
    // Of all marks, degrees clockwise.
    qreal angle() const { return angle_; }
    void setAngle(qreal angle) { assign(angle_, angle); }

protected:
    void paint(QPainter& painter) const override;

private:
    QColor color_ = Qt::black;
    int count_ = 1;
    int longEvery_ = 0;
    qreal thickness_ = 1;
    qreal length_ = 0;
    qreal longLength_ = 0;
    qreal offset_ = 0;
    qreal angle_ = 0;
};

} // namespace morvel
