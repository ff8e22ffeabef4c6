#include "views/SoftShadow.h"

#include <QImage>
#include <QPainter>
#include <algorithm>
#include <cmath>
#include <numbers>

namespace morvel {

namespace {

constexpr qreal deviationsSeen = 3;

// Points from the outline of a rounded rectangle; negative inside.
qreal distanceTo(const QRectF& rect, qreal cornerRadius, const QPointF& point) {
    const qreal corner = std::min(cornerRadius, std::min(rect.width(), rect.height()) / 2);
    const QPointF from = point - rect.center();
    const qreal x = std::abs(from.x()) - rect.width() / 2 + corner;
    const qreal y = std::abs(from.y()) - rect.height() / 2 + corner;
    return std::min(std::max(x, y), 0.0) + std::hypot(std::max(x, 0.0), std::max(y, 0.0)) - corner;
}

// How much of a blurred straight edge is left at a distance from it, 0 to 1.
qreal falloff(qreal distance, qreal deviation) {
    if (distance > deviationsSeen * deviation)
        return 0;
    if (distance < -deviationsSeen * deviation)
        return 1;
    return 0.5 * std::erfc(distance / (deviation * std::numbers::sqrt2));
}

} // namespace

qreal SoftShadow::overflow() const {
    return deviationsSeen * radius_ + std::abs(offset_) + 1;
}

void SoftShadow::paint(QPainter& painter) const {
    if (!(radius_ > 0))
        return;
    const QTransform toDevice = painter.deviceTransform();
    const QTransform toItem = toDevice.inverted();
    const QRectF shape = boundingRect();
    const QRectF shadow = shape.translated(0, offset_);
    const qreal scale = toDevice.m11();

    QImage image(painter.device()->width(), painter.device()->height(),
                 QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < image.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const QPointF point = toItem.map(QPointF(x + 0.5, y + 0.5));
            qreal depth = falloff(distanceTo(shadow, cornerRadius_, point), radius_);
            if (hollow_ && depth > 0)
                depth *=
                    std::clamp(distanceTo(shape, cornerRadius_, point) * scale + 0.5, 0.0, 1.0);
            const int alpha = qRound(color_.alpha() * depth);
            line[x] = qPremultiply(qRgba(color_.red(), color_.green(), color_.blue(), alpha));
        }
    }
    painter.save();
    painter.resetTransform();
    painter.drawImage(0, 0, image);
    painter.restore();
}

} // namespace morvel
