#include "views/Symbols.h"

#include <QFile>
#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>

namespace morvel {

QImage symbolImage(const QString& name, const QColor& color, int pixels) {
    const QString file = QStringLiteral(":/morvel/symbols/%1.svg").arg(name);
    if (pixels <= 0 || !QFile::exists(file))
        return {};
    QSvgRenderer drawing(file);
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    drawing.render(&painter);
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
