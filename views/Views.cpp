#include "views/Views.h"

#include "views/Symbols.h"

#include <QQmlEngine>
#include <QQuickImageProvider>

// Generated with the module. A static library's registration is linked only where it is named.
extern void qml_register_types_Morvel_Views();

namespace morvel {

namespace {

// image://symbol/<name>/<colour as aarrggbb or rrggbb>; the width asked for is in device pixels.
class SymbolProvider : public QQuickImageProvider {
public:
    SymbolProvider()
        : QQuickImageProvider(QQuickImageProvider::Image) {}

    QImage requestImage(const QString& id, QSize* size, const QSize& requested) override {
        const qsizetype slash = id.indexOf(QLatin1Char('/'));
        const int pixels = requested.width() > 0 ? requested.width() : 32;
        const QImage image =
            symbolImage(id.left(slash), QColor(QLatin1Char('#') + id.mid(slash + 1)), pixels);
        if (size != nullptr)
            *size = image.size();
        return image;
    }
};

} // namespace

void prepareViews(QQmlEngine& engine) {
    qml_register_types_Morvel_Views();
    engine.addImageProvider(QStringLiteral("symbol"), new SymbolProvider);
}

} // namespace morvel
