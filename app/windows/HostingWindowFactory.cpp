#include "app/windows/HostingWindowFactory.h"

#include "app/windows/QuickPopover.h"

#include <fmt/format.h>

#include <QEvent>
#include <QScreen>
#include <utility>

namespace morvel {

namespace {

// The system's window is a new one after each closing.
class FloatWhenShown : public QObject {
public:
    FloatWhenShown(FloatingWindows& floating, QWindow& window)
        : QObject(&window)
        , floating_(floating)
        , window_(window) {
        window.installEventFilter(this);
    }

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Show)
            floating_.prepare(window_.winId());
        return QObject::eventFilter(watched, event);
    }

private:
    FloatingWindows& floating_;
    QWindow& window_;
};

} // namespace

HostingWindowFactory::HostingWindowFactory(std::function<void(QQmlEngine&)> prepare,
                                           FloatingWindows* floating)
    : prepare_(std::move(prepare))
    , floating_(floating) {}

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
    if (floating_ != nullptr)
        new FloatWhenShown(*floating_, *window);
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

std::string rectangleText(const QRect& rectangle) {
    return fmt::format("{{{{{}, {}}}, {{{}, {}}}}}", rectangle.x(), rectangle.y(),
                       rectangle.width(), rectangle.height());
}

} // namespace morvel
