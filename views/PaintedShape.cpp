#include "views/PaintedShape.h"

#include <QImage>
#include <QPainter>
#include <QQuickWindow>
#include <QSGImageNode>
#include <QTransform>

namespace morvel {

PaintedShape::PaintedShape(QQuickItem* parent)
    : QQuickItem(parent) {
    setFlag(ItemHasContents);
    connect(this, &QQuickItem::scaleChanged, this, &QQuickItem::update);
    connect(this, &QQuickItem::rotationChanged, this, &QQuickItem::update);
}

QSGNode* PaintedShape::updatePaintNode(QSGNode* old, UpdatePaintNodeData*) {
    delete old;
    const qreal scale = window()->effectiveDevicePixelRatio();
    const qreal margin = overflow();
    const QTransform toScene = itemTransform(nullptr, nullptr);
    const bool upright = toScene.type() <= QTransform::TxTranslate;
    const QPointF origin = upright ? toScene.map(QPointF(0, 0)) * scale : QPointF(0, 0);
    const QRectF covered(origin - QPointF(margin, margin) * scale,
                         QSizeF(width() + 2 * margin, height() + 2 * margin) * scale);
    const QRect pixels = covered.toAlignedRect();
    if (width() <= 0 || height() <= 0 || pixels.isEmpty())
        return nullptr;

    QImage image(pixels.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(origin - pixels.topLeft());
    painter.scale(scale, scale);
    paint(painter);
    painter.end();

    QSGImageNode* node = window()->createImageNode();
    node->setTexture(window()->createTextureFromImage(image, QQuickWindow::TextureHasAlphaChannel));
    node->setOwnsTexture(true);
    node->setFiltering(upright ? QSGTexture::Nearest : QSGTexture::Linear);
    node->setRect(QRectF((pixels.topLeft() - origin) / scale, QSizeF(pixels.size()) / scale));
    return node;
}

void PaintedShape::geometryChange(const QRectF& now, const QRectF& before) {
    QQuickItem::geometryChange(now, before);
    update();
}

void PaintedShape::itemChange(ItemChange change, const ItemChangeData& data) {
    if (change == ItemDevicePixelRatioHasChanged)
        update();
    QQuickItem::itemChange(change, data);
}

} // namespace morvel
