#include "views/ContinuousRectangle.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPen>
#include <QRadialGradient>
#include <algorithm>
#include <cmath>
#include <numbers>

namespace morvel {

namespace {

// A corner is a quarter of a superellipse that begins this many radii before the corner of the
// rectangle. The exponent makes it cut the corner as deep as the circle would.
constexpr qreal cornerReach = 1.5;
const qreal exponent = [] {
    const qreal depth = (1 - 1 / std::numbers::sqrt2) / cornerReach;
    return -std::numbers::ln2 / std::log(1 - depth);
}();

// One corner, `corner` being that of the rectangle, from the side along `from` to that along `to`.
void addCorner(QPainterPath& path, const QPointF& corner, const QPointF& from, const QPointF& to) {
    constexpr int steps = 24;
    for (int i = 0; i <= steps; ++i) {
        const qreal angle = i * std::numbers::pi / 2 / steps;
        const qreal along = 1 - std::pow(std::sin(angle), 2 / exponent);
        const qreal across = 1 - std::pow(std::cos(angle), 2 / exponent);
        // At the beginning a whole reach along the first side, at the end one along the second.
        const QPointF point = corner + from * along + to * across;
        if (i == 0 && path.elementCount() == 0)
            path.moveTo(point);
        else
            path.lineTo(point);
    }
}

QColor shade(int level, qreal opacity) {
    return QColor(level, level, level, std::clamp(qRound(255 * opacity), 0, 255));
}

QLinearGradient downwards(const QRectF& rect, const QColor& top, const QColor& bottom) {
    QLinearGradient gradient(rect.topLeft(), rect.bottomLeft());
    QColor faintTop = top;
    QColor faintBottom = bottom;
    faintTop.setAlpha(0);
    faintBottom.setAlpha(0);
    gradient.setColorAt(0, top);
    gradient.setColorAt(0.499, faintTop);
    gradient.setColorAt(0.501, faintBottom);
    gradient.setColorAt(1, bottom);
    return gradient;
}

void paintGloss(QPainter& painter, const QRectF& rect, qreal gloss) {
    painter.save();
    painter.translate(rect.center().x(), rect.top() + rect.height() * 0.27);
    painter.scale(rect.width() * 0.34, rect.height() * 0.2);
    QRadialGradient light(QPointF(0, 0), 1);
    light.setColorAt(0, shade(255, 0.5 * gloss));
    light.setColorAt(0.5, shade(255, 0.2 * gloss));
    light.setColorAt(1, shade(255, 0));
    painter.setPen(Qt::NoPen);
    painter.setBrush(light);
    painter.drawEllipse(QPointF(0, 0), 1, 1);
    painter.restore();
}

} // namespace

QPainterPath continuousOutline(const QRectF& rect, qreal radius) {
    QPainterPath path;
    const qreal shorterHalf = std::min(rect.width(), rect.height()) / 2;
    if (radius <= 0) {
        path.addRect(rect);
        return path;
    }
    if (radius >= shorterHalf) {
        path.addRoundedRect(rect, shorterHalf, shorterHalf);
        return path;
    }
    const qreal reach = std::min(radius * cornerReach, shorterHalf);
    const QPointF right(reach, 0);
    const QPointF down(0, reach);
    addCorner(path, rect.topLeft(), down, right);
    addCorner(path, rect.topRight(), -right, down);
    addCorner(path, rect.bottomRight(), -down, -right);
    addCorner(path, rect.bottomLeft(), right, -down);
    path.closeSubpath();
    return path;
}

bool ContinuousRectangle::contains(const QPointF& point) const {
    return boundingRect().contains(point) &&
           continuousOutline(boundingRect(), radius_).contains(point);
}

void ContinuousRectangle::paint(QPainter& painter) const {
    const QRectF rect = boundingRect();
    const QPainterPath outline = continuousOutline(rect, radius_);
    const auto ring = [&](qreal width, const QBrush& brush) {
        const qreal inset = width / 2;
        painter.strokePath(continuousOutline(rect.adjusted(inset, inset, -inset, -inset),
                                             std::max(0.0, radius_ - inset)),
                           QPen(brush, width));
    };
    painter.fillPath(outline, color_);
    if (relief_ > 0) {
        painter.fillPath(outline,
                         downwards(rect, shade(255, 0.26 * relief_), shade(0, 0.16 * relief_)));
        ring(1, downwards(rect, shade(255, 0.5 * relief_), shade(0, 0.14 * relief_)));
    } else if (relief_ < 0) {
        painter.fillPath(outline,
                         downwards(rect, shade(0, -0.1 * relief_), shade(255, -0.05 * relief_)));
        ring(1, downwards(rect, shade(0, -0.16 * relief_), shade(255, -0.22 * relief_)));
    }
    if (gloss_ > 0)
        paintGloss(painter, rect, gloss_);
    if (borderWidth_ > 0 && borderColor_.alpha() > 0)
        ring(borderWidth_, borderColor_);
}

} // namespace morvel
