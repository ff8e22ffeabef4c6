#include "app/windows/HostingWindowFactory.h"

#include "app/windows/QuickPopover.h"

#include <QScreen>
#include <utility>

namespace morvel {

HostingWindowFactory::HostingWindowFactory(std::function<void(QQmlEngine&)> prepare)
    : prepare_(std::move(prepare)) {}

HostingWindowFactory::~HostingWindowFactory() = default;

QQmlEngine& HostingWindowFactory::engine() {
    if (!engine_) {
        engine_ = std::make_unique<QQmlEngine>();
        prepare_(*engine_);
    }
    return *engine_;
}

std::unique_ptr<QQuickView> HostingWindowFactory::makeWindow(const QString& title, QSize size,
                                                             const ViewContent& content) {
    auto window = std::make_unique<QQuickView>(&engine(), nullptr);
    window->setFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                     Qt::WindowCloseButtonHint | Qt::WindowStaysOnTopHint);
    window->setTitle(title);
    window->setResizeMode(QQuickView::SizeRootObjectToView);
    window->setInitialProperties(content.properties);
    window->setSource(content.source);
    if (window->status() != QQuickView::Ready)
        return nullptr;
    window->setMinimumSize(size);
    window->setMaximumSize(size);
    window->resize(size);
    const QRect available = window->screen()->availableGeometry();
    window->setPosition(available.center() - QPoint(size.width() / 2, size.height() / 2));
    return window;
}

std::unique_ptr<Popover> HostingWindowFactory::makePopover(const QString& title, QSize size,
                                                           const ViewContent& content,
                                                           TransientWindows& windows) {
    return std::make_unique<QuickPopover>([this]() -> QQmlEngine& { return engine(); }, windows,
                                          title, size, content);
}

void bringToFront(QWindow& window) {
    window.show();
    window.raise();
    window.requestActivate();
}

} // namespace morvel
