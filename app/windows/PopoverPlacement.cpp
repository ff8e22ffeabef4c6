#include "app/windows/PopoverPlacement.h"

#include <algorithm>

namespace morvel {

namespace {

// Moves [start, start + length) into [first, last + 1), to its beginning if it is longer.
int inside(int start, int length, int first, int last) {
    return std::max(first, std::min(start, last + 1 - length));
}

} // namespace

PopoverPlacement popoverPlacement(const std::optional<QRect>& anchor, QSize size,
                                  const QRect& available, const QRect& screen) {
    QRect at;
    if (anchor)
        at = *anchor;
    else if (available.bottom() < screen.bottom() && available.top() == screen.top())
        at = QRect(screen.right(), screen.bottom(), 1, 1);
    else
        at = QRect(screen.right(), screen.top(), 1, 1);

    const int below = at.bottom() + 1 + popoverGap;
    const int above = at.top() - popoverGap - size.height();
    const int middleX = at.center().x() - size.width() / 2;
    const int middleY = at.center().y() - size.height() / 2;
    PopoverPlacement placement{{middleX, below}, Qt::BottomEdge};
    if (anchor && at.center().x() < available.left())
        placement = {{at.right() + 1 + popoverGap, middleY}, Qt::RightEdge};
    else if (anchor && at.center().x() > available.right())
        placement = {{at.left() - popoverGap - size.width(), middleY}, Qt::LeftEdge};
    else if (below + size.height() > available.bottom() + 1 && above >= available.top())
        placement = {{middleX, above}, Qt::TopEdge};
    placement.position = {
        inside(placement.position.x(), size.width(), available.left(), available.right()),
        inside(placement.position.y(), size.height(), available.top(), available.bottom())};
    return placement;
}

} // namespace morvel
