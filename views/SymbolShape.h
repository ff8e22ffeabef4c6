// One of Morvel's symbols as a shape of a view, in the middle of the item and as large as fits.
// Main thread, but for painting.
#pragma once

#include "views/PaintedShape.h"

#include <QColor>
#include <QString>

namespace morvel {

class SymbolShape : public PaintedShape {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString name READ name WRITE setName NOTIFY shapeChanged)
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY shapeChanged)

public:
    using PaintedShape::PaintedShape;

    // Nothing is seen of a name that there is no symbol for.
    QString name() const { return name_; }
    void setName(const QString& name) { assign(name_, name); }
    QColor color() const { return color_; }
    void setColor(const QColor& color) { assign(color_, color); }

protected:
    void paint(QPainter& painter) const override;

private:
    QString name_;
    QColor color_ = Qt::black;
};

} // namespace morvel
