#include "views/Symbols.h"

#include <QFile>
#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>

namespace morvel {

bool paintSymbol(QPainter& painter, const QString& name, const QRectF& where) {
    const QString file = QStringLiteral(":/morvel/symbols/%1.svg").arg(name);
    if (!QFile::exists(file))
        return false;
    QSvgRenderer drawing(file);
    drawing.render(&painter, where);
    return true;
}

QImage symbolImage(const QString& name, const QColor& color, int pixels) {
    if (pixels <= 0)
        return {};
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    if (!paintSymbol(painter, name, image.rect()))
        return {};
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(image.rect(), color);
    painter.end();
    return image;
}

QIcon symbolIcon(const QString& name, const QColor& color) {
    QIcon icon;
    for (const int pixels : {16, 22, 24, 32, 44, 48, 64, 96}) {
        const QImage image = symbolImage(name, color, pixels);
        if (image.isNull())
            return {};
        icon.addPixmap(QPixmap::fromImage(image));
    }
    return icon;
}

} // namespace morvel
