// The soft shadow that a rounded rectangle casts: the item has the shape's size and place, the
// shadow goes beyond it. Painted, so that it needs no effect of the graphics hardware. Main thread,
// but for painting.
#pragma once

#include "views/PaintedShape.h"

#include <QColor>

namespace morvel {

class SoftShadow : public PaintedShape {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY shapeChanged)
    Q_PROPERTY(qreal radius READ radius WRITE setRadius NOTIFY shapeChanged)
    Q_PROPERTY(qreal cornerRadius READ cornerRadius WRITE setCornerRadius NOTIFY shapeChanged)
    Q_PROPERTY(qreal offset READ offset WRITE setOffset NOTIFY shapeChanged)
    Q_PROPERTY(bool hollow READ hollow WRITE setHollow NOTIFY shapeChanged)

public:
    using PaintedShape::PaintedShape;

    // Where the shadow is deepest.
    QColor color() const { return color_; }
    void setColor(const QColor& color) { assign(color_, color); }
    // How soft: the deviation of the blur, points. Meant for shapes several times as large.
    qreal radius() const { return radius_; }
    void setRadius(qreal radius) { assign(radius_, radius); }
    qreal cornerRadius() const { return cornerRadius_; } // of the shape
    void setCornerRadius(qreal radius) { assign(cornerRadius_, radius); }
    qreal offset() const { return offset_; } // downwards
    void setOffset(qreal offset) { assign(offset_, offset); }
    // Leaves out what is under the shape, for one that is seen through.
    bool hollow() const { return hollow_; }
    void setHollow(bool hollow) { assign(hollow_, hollow); }

protected:
    void paint(QPainter& painter) const override;
    qreal overflow() const override;

private:
    QColor color_ = QColor(0, 0, 0, 84);
    qreal radius_ = 0;
    qreal cornerRadius_ = 0;
    qreal offset_ = 0;
    bool hollow_ = false;
};

} // namespace morvel
