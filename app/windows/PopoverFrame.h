// What a popover's content lies on: a rounded sheet of the window colour in a soft shadow, or, on a
// desktop without translucent windows, a plain rectangle with a border of one point.
#pragma once

#include <QQuickPaintedItem>

namespace morvel {

class PopoverFrame : public QQuickPaintedItem {
public:
    static constexpr int shadowMargin = 20; // in points
    static constexpr int cornerRadius = 12; // in points

    // Painted by the scene graph's thread, which with the software scene graph is the main thread.
    explicit PopoverFrame(QQuickItem* parent);

    void setTranslucent(bool translucent);
    bool translucent() const { return translucent_; }

    void paint(QPainter* painter) override;

private:
    void paintShadow(QPainter& painter, const QRectF& sheet) const;

    bool translucent_ = false;
};

} // namespace morvel
