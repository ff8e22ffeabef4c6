#include "fidget/views/RadialMarks.h"

#include "views/ContinuousRectangle.h"

#include <QPainter>

namespace morvel {

void RadialMarks::paint(QPainter& painter) const {
    painter.translate(boundingRect().center());
    painter.rotate(angle_);
    for (int i = 0; i < count_; ++i) {
        const qreal size = longEvery_ > 0 && i % longEvery_ == 0 ? longLength_ : length_;
        const QRectF mark(-thickness_ / 2, -offset_ - size / 2, thickness_, size);
        painter.fillPath(continuousOutline(mark, thickness_ / 2), color_);
        painter.rotate(360.0 / count_);
    }
}

} // namespace morvel
