#include "views/SymbolShape.h"

#include "views/Symbols.h"

#include <QPainter>

namespace morvel {

SymbolShape::SymbolShape(QQuickItem* parent)
    : PaintedShape(parent) {}

void SymbolShape::paint(QPainter& painter) const {
    paintSymbol(painter, name_, QRectF(0, 0, width(), height()));
    // Only the symbol is on the picture so far, whatever part of a pixel it stands on.
    painter.resetTransform();
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(painter.window(), color_);
}

} // namespace morvel
