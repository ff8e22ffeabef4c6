#include "app/windows/PopoverFrame.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPalette>

namespace morvel {

namespace {

constexpr qreal shadowDrop = 4; // how far the shadow lies below the sheet, in points

QColor borderColor(const QPalette& palette) {
    QColor color = palette.color(QPalette::WindowText);
    color.setAlphaF(0.22F);
    return color;
}

} // namespace

PopoverFrame::PopoverFrame(QQuickItem* parent)
    : QQuickPaintedItem(parent) {}

void PopoverFrame::setTranslucent(bool translucent) {
    translucent_ = translucent;
    update();
}

void PopoverFrame::paint(QPainter* painter) {
    const QPalette palette = QGuiApplication::palette();
    painter->setRenderHint(QPainter::Antialiasing);
    if (!translucent_) {
        painter->fillRect(boundingRect(), palette.color(QPalette::Window));
        painter->setPen(QPen(borderColor(palette), 1));
        painter->drawRect(boundingRect().adjusted(0.5, 0.5, -0.5, -0.5));
        return;
    }
    const QRectF sheet =
        boundingRect().adjusted(shadowMargin, shadowMargin, -shadowMargin, -shadowMargin);
    paintShadow(*painter, sheet);
    painter->setPen(QPen(borderColor(palette), 1));
    painter->setBrush(palette.color(QPalette::Window));
    painter->drawRoundedRect(sheet.adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius, cornerRadius);
}

// Sheets of shadow, each a little larger, add up to a falling off that is steepest near the edge.
void PopoverFrame::paintShadow(QPainter& painter, const QRectF& sheet) const {
    constexpr int sheets = shadowMargin - static_cast<int>(shadowDrop);
    painter.setPen(Qt::NoPen);
    for (int grown = sheets; grown > 0; --grown) {
        const qreal nearness = 1 - static_cast<qreal>(grown) / (sheets + 1);
        painter.setBrush(
            QColor::fromRgbF(0, 0, 0, static_cast<float>(0.045 * nearness * nearness)));
        painter.drawRoundedRect(
            sheet.adjusted(-grown, -grown, grown, grown).translated(0, shadowDrop),
            cornerRadius + grown, cornerRadius + grown);
    }
}

} // namespace morvel
