#include "views/SymbolShape.h"

#include "views/Symbols.h"

#include <QPainter>
#include <algorithm>

namespace morvel {

void SymbolShape::paint(QPainter& painter) const {
    const qreal side = std::min(width(), height());
    QRectF place(0, 0, side, side);
    place.moveCenter(boundingRect().center());
    drawSymbol(painter, name_, color_, place);
}

} // namespace morvel
