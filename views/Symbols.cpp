#include "views/Symbols.h"

#include <QFile>
#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>

namespace morvel {

namespace {

QString fileOf(const QString& name) {
    return QStringLiteral(":/morvel/symbols/%1.svg").arg(name);
}

} // namespace

void drawSymbol(QPainter& painter, const QString& name, const QColor& color, const QRectF& place) {
    if (!QFile::exists(fileOf(name)))
        return;
    QSvgRenderer drawing(fileOf(name));
    QImage layer(painter.device()->width(), painter.device()->height(),
                 QImage::Format_ARGB32_Premultiplied);
    layer.fill(Qt::transparent);
    QPainter onLayer(&layer);
    onLayer.setTransform(painter.deviceTransform());
    drawing.render(&onLayer, place);
    onLayer.resetTransform();
    onLayer.setCompositionMode(QPainter::CompositionMode_SourceIn);
    onLayer.fillRect(layer.rect(), color);
    onLayer.end();
    painter.save();
    painter.resetTransform();
    painter.drawImage(0, 0, layer);
    painter.restore();
}

QImage symbolImage(const QString& name, const QColor& color, int pixels) {
    if (pixels <= 0 || !QFile::exists(fileOf(name)))
        return {};
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    drawSymbol(painter, name, color, image.rect());
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
