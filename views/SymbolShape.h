// A symbol as a shape: sharp at every scale factor. `Symbol` is what views use.
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
    explicit SymbolShape(QQuickItem* parent = nullptr);

    QString name() const { return name_; } // nothing is drawn for one that there is no symbol for
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
