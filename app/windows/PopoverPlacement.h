// Where a popover goes. Pure.
#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>
#include <optional>

namespace morvel {

// The distance between a popover and what it belongs to, in points.
inline constexpr int popoverGap = 4;

struct PopoverPlacement {
    QPoint position; // of its top left corner
    Qt::Edge side;   // of the anchor that it is on
};

// The place of a popover of `size` that belongs to `anchor`: below it, above it where there is no
// room below, beside it where a panel at the left or right edge of the screen holds it, always
// centred on it and inside `available`, the part of `screen` that panels leave free. Without an
// anchor it goes to the right end of the edge that a panel takes up, the top one if none does.
PopoverPlacement popoverPlacement(const std::optional<QRect>& anchor, QSize size,
                                  const QRect& available, const QRect& screen);

} // namespace morvel
