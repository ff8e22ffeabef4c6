// A shape that is painted to the device pixels it covers, so that it is sharp at every scale factor
// and wherever it stands. (One whose ancestors move by parts of a pixel is painted anew only when
// it changes itself.) Main thread, but for painting.
#pragma once

#include <QtQml/qqmlregistration.h>

#include <QQuickItem>

class QPainter;

namespace morvel {

class PaintedShape : public QQuickItem {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("A base of shapes")

public:
    explicit PaintedShape(QQuickItem* parent = nullptr);

protected:
    // Paints in the item's points, antialiased. On the render thread, while the main one waits.
    virtual void paint(QPainter& painter) const = 0;

    // How many points beyond the item paint() may go, each way.
    virtual qreal overflow() const { return 0; }

    QSGNode* updatePaintNode(QSGNode* old, UpdatePaintNodeData* data) override;
    void geometryChange(const QRectF& now, const QRectF& before) override;
    void itemChange(ItemChange change, const ItemChangeData& data) override;

    // For setters: takes over a value that differs, and paints anew.
    template <typename Value>
    void assign(Value& property, const Value& value) {
        if (property == value)
            return;
        property = value;
        update();
        emit shapeChanged();
    }

signals:
    void shapeChanged();
};

} // namespace morvel
