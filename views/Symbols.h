// The symbols that Morvel draws: small pictures of one colour, scalable, tinted where they are
// used. Main thread.
#pragma once

#include <QColor>
#include <QIcon>
#include <QImage>
#include <QRectF>
#include <QString>

class QPainter;

namespace morvel {

// Draws the symbol `name` ("dial.medium.fill") in `color` into `place`, in the painter's
// coordinates. Nothing for a name that there is no symbol for.
void drawSymbol(QPainter& painter, const QString& name, const QColor& color, const QRectF& place);

// The symbol `name`, drawn in `color` into a square of `pixels` device pixels.
// A null image for a name that there is no symbol for.
QImage symbolImage(const QString& name, const QColor& color, int pixels);

// The symbol as an icon that is sharp at every size, drawn in `color`. A null icon for an unknown
// name.
QIcon symbolIcon(const QString& name, const QColor& color);

} // namespace morvel
