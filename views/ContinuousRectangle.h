// A rectangle whose sides run into its corners without a jump of curvature; with corners of half
// its height a capsule or a circle. Main thread, but for painting.
#pragma once

#include "views/PaintedShape.h"

#include <QColor>
#include <QPainterPath>

namespace morvel {

// The outline of `rect`. `radius` is that of the circle which the corner stands in for; from half
// the shorter side on the ends are round.
QPainterPath continuousOutline(const QRectF& rect, qreal radius);

// Points are in it (QQuickItem::contains) when they are in its outline: its corners take no press.
class ContinuousRectangle : public PaintedShape {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY shapeChanged)
    Q_PROPERTY(qreal radius READ radius WRITE setRadius NOTIFY shapeChanged)
    Q_PROPERTY(QColor borderColor READ borderColor WRITE setBorderColor NOTIFY shapeChanged)
    Q_PROPERTY(qreal borderWidth READ borderWidth WRITE setBorderWidth NOTIFY shapeChanged)
    Q_PROPERTY(qreal relief READ relief WRITE setRelief NOTIFY shapeChanged)
    Q_PROPERTY(qreal gloss READ gloss WRITE setGloss NOTIFY shapeChanged)

public:
    using PaintedShape::PaintedShape;

    QColor color() const { return color_; }
    void setColor(const QColor& color) { assign(color_, color); }
    qreal radius() const { return radius_; }
    void setRadius(qreal radius) { assign(radius_, radius); }
    // Inside the outline.
    QColor borderColor() const { return borderColor_; }
    void setBorderColor(const QColor& color) { assign(borderColor_, color); }
    qreal borderWidth() const { return borderWidth_; }
    void setBorderWidth(qreal width) { assign(borderWidth_, width); }
    // Light from above on a shape that stands out (1, less: flatter) or is sunk (-1); 0: flat.
    qreal relief() const { return relief_; }
    void setRelief(qreal relief) { assign(relief_, relief); }

    // How bright a light is reflected in the upper part of a round shape, 0 to 1.
    qreal gloss() const { return gloss_; }
    void setGloss(qreal gloss) { assign(gloss_, gloss); }

    bool contains(const QPointF& point) const override;

protected:
    void paint(QPainter& painter) const override;

private:
    QColor color_ = Qt::transparent;
    qreal radius_ = 0;
    QColor borderColor_ = Qt::transparent;
    qreal borderWidth_ = 0;
    qreal relief_ = 0;
    qreal gloss_ = 0;
};

} // namespace morvel
