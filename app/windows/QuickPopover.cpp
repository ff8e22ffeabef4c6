#include "app/windows/QuickPopover.h"

#include "app/windows/PopoverFrame.h"
#include "app/windows/PopoverPlacement.h"

#include <QCursor>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QPalette>
#include <QQmlComponent>
#include <QQuickItem>
#include <QScreen>
#include <QTimer>
#include <utility>

namespace morvel {

namespace {

constexpr int anyLength = (1 << 24) - 1; // the limit of a window without one
constexpr int riseDistance = 6;          // points that the popover moves while it appears

QScreen* screenOf(const std::optional<QRect>& anchor) {
    QScreen* screen = anchor ? QGuiApplication::screenAt(anchor->center())
                             : QGuiApplication::screenAt(QCursor::pos());
    return screen != nullptr ? screen : QGuiApplication::primaryScreen();
}

} // namespace

// Leaves Escape to the content first.
class PopoverWindow : public QQuickWindow {
public:
    std::function<void()> escape;

protected:
    void keyPressEvent(QKeyEvent* event) override {
        event->ignore();
        QQuickWindow::keyPressEvent(event);
        if (!event->isAccepted() && event->key() == Qt::Key_Escape)
            escape();
    }
};

QuickPopover::QuickPopover(std::function<QQmlEngine&()> engine, TransientWindows& windows,
                           QString title, QSize size, ViewContent content)
    : engine_(std::move(engine))
    , windows_(windows)
    , title_(std::move(title))
    , size_(size)
    , content_(std::move(content)) {
    connect(&animation_, &QVariantAnimation::valueChanged, this,
            [this](const QVariant& value) { setProgress(value.toReal()); });
    connect(&animation_, &QVariantAnimation::finished, this, [this] { finishClosing(); });
}

QuickPopover::~QuickPopover() {
    animation_.stop();
    if (window_)
        window_->removeEventFilter(this);
}

QQuickWindow* QuickPopover::window() const {
    return window_.get();
}

void QuickPopover::show(const std::optional<QRect>& anchor) {
    if (state_ == State::closing && style_ != Style::normalWindow) {
        reopen();
        return;
    }
    if (!windows_.places()) {
        showNormal(true);
        return;
    }
    if (isShown())
        return;
    if (!prepare(windows_.composites() ? Style::translucent : Style::bordered))
        return;
    const QScreen* screen = screenOf(anchor);
    const auto placement =
        popoverPlacement(anchor, size_, screen->availableGeometry(), screen->geometry());
    const int margin = style_ == Style::translucent ? PopoverFrame::shadowMargin : 0;
    rise_ = style_ != Style::translucent       ? 0
            : placement.side == Qt::TopEdge    ? riseDistance
            : placement.side == Qt::BottomEdge ? -riseDistance
                                               : 0;
    const QRect place = QRect(placement.position, size_).adjusted(-margin, -margin, margin, margin);
    position_ = place.topLeft();
    window_->setGeometry(place);
    const qreal scale = window_->devicePixelRatio();
    windows_.setShadow(window_->winId(),
                       {qRound(window_->width() * scale), qRound(window_->height() * scale),
                        qRound(margin * scale)});
    buttonDown_ = false;
    pressedElsewhere_ = false;
    pressedInside_.invalidate();
    watch_ = windows_.watchButtons([this](bool down) { buttonChanged(down); });
    present();
}

// Wanted again before it has gone.
void QuickPopover::reopen() {
    state_ = State::shown;
    pressedElsewhere_ = false;
    windows_.takeKeyboard(window_->winId());
    animate(1, openingMs);
}

void QuickPopover::showAsWindow() {
    showNormal(false);
}

void QuickPopover::showNormal(bool leavable) {
    if (state_ == State::shown) {
        bringToFront(*window_);
        return;
    }
    if (isShown() || !prepare(Style::normalWindow))
        return;
    leavable_ = leavable;
    visited_ = false;
    pointerInside_ = false;
    pointerLeft_.invalidate();
    rise_ = 0;
    const QRect available = screenOf(std::nullopt)->availableGeometry();
    QRect place(QPoint(0, 0), size_);
    place.moveCenter(available.center());
    window_->setGeometry(place);
    present();
}

// Another style needs another native window.
bool QuickPopover::prepare(Style style) {
    if (!window_ && !makeWindow())
        return false;
    if (style != style_ || window_->handle() == nullptr) {
        window_->destroy();
        style_ = style;
        window_->setFlags(style == Style::normalWindow
                              ? Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                                    Qt::WindowCloseButtonHint
                              : Qt::Window | Qt::FramelessWindowHint | Qt::BypassWindowManagerHint |
                                    Qt::WindowStaysOnTopHint);
        QSurfaceFormat format = window_->format();
        format.setAlphaBufferSize(style == Style::translucent ? 8 : -1);
        window_->setFormat(format);
        window_->create();
    }
    const bool normal = style == Style::normalWindow;
    window_->setMinimumSize(normal ? size_ : QSize(0, 0));
    window_->setMaximumSize(normal ? size_ : QSize(anyLength, anyLength));
    window_->setColor(style == Style::translucent
                          ? QColor(Qt::transparent)
                          : QGuiApplication::palette().color(QPalette::Window));
    const int margin = style == Style::translucent ? PopoverFrame::shadowMargin : 0;
    frame_->setVisible(!normal);
    frame_->setTranslucent(style == Style::translucent);
    frame_->setSize(QSizeF(size_.grownBy({margin, margin, margin, margin})));
    holder_->setPosition(QPointF(margin, margin));
    return true;
}

bool QuickPopover::makeWindow() {
    QQmlEngine& engine = engine_();
    QQmlComponent component(&engine, content_.source);
    std::unique_ptr<QObject> made;
    if (component.isReady())
        made.reset(component.createWithInitialProperties(content_.properties));
    auto* item = qobject_cast<QQuickItem*>(made.get());
    if (item == nullptr) {
        qWarning("%s", qPrintable(component.errorString()));
        return false;
    }
    static_cast<void>(made.release());
    view_.reset(item);
    QQmlEngine::setObjectOwnership(item, QQmlEngine::CppOwnership);
    window_ = std::make_unique<PopoverWindow>();
    window_->escape = [this] { close(); };
    window_->setTitle(title_);
    window_->installEventFilter(this);
    frame_ = new PopoverFrame(window_->contentItem());
    holder_ = new QQuickItem(window_->contentItem());
    holder_->setFlag(QQuickItem::ItemIsFocusScope);
    holder_->setFocus(true);
    holder_->setSize(size_);
    item->setParentItem(holder_);
    item->setSize(size_);
    item->setFocus(true);
    return true;
}

void QuickPopover::present() {
    state_ = State::shown;
    awaitsExposure_ = true;
    animation_.stop();
    setProgress(style_ == Style::normalWindow ? 1 : 0);
    bringToFront(*window_);
}

// Only a window that is on screen can have the keyboard, and an animation before would go unseen.
void QuickPopover::exposed() {
    awaitsExposure_ = false;
    if (style_ == Style::normalWindow)
        return;
    windows_.takeKeyboard(window_->winId());
    animate(1, openingMs);
}

void QuickPopover::close() {
    if (state_ != State::shown)
        return;
    state_ = State::closing;
    awaitsExposure_ = false;
    if (style_ == Style::normalWindow) {
        finishClosing();
        return;
    }
    animate(0, closingMs);
}

void QuickPopover::animate(qreal to, int milliseconds) {
    animation_.stop();
    animation_.setDuration(milliseconds);
    animation_.setEasingCurve(to > progress_ ? QEasingCurve::OutCubic : QEasingCurve::InQuad);
    animation_.setStartValue(progress_);
    animation_.setEndValue(to);
    animation_.start();
}

// A compositor fades and moves the window without a repaint; without one only the content fades.
void QuickPopover::setProgress(qreal progress) {
    progress_ = progress;
    const bool composited = style_ == Style::translucent;
    holder_->setOpacity(composited ? 1 : progress);
    if (!composited)
        return;
    window_->setOpacity(progress);
    window_->setPosition(position_ + QPoint(0, qRound(rise_ * (1 - progress))));
}

void QuickPopover::buttonChanged(bool down) {
    buttonDown_ = down;
    if (!down) {
        pressedElsewhere_ = false;
        finishClosing();
        return;
    }
    if (sheet().contains(QCursor::pos()))
        return;
    // The pointer may have left since: a press inside comes to the window, sooner or later.
    QTimer::singleShot(insideNewsMs, this, [this] {
        if (pressedInside_.isValid() && pressedInside_.elapsed() < insideMs)
            return;
        pressedElsewhere_ = buttonDown_;
        close();
    });
}

// A window manager that is still busy with the click, or with a window that has just gone, may hand
// the keyboard on once more while the popover opens.
void QuickPopover::keyboardLost() {
    if (state_ != State::shown || awaitsExposure_)
        return;
    if (style_ == Style::normalWindow) {
        turnedAway();
        return;
    }
    if (animation_.state() == QAbstractAnimation::Running)
        windows_.takeKeyboard(window_->winId());
    else if (!windows_.hasKeyboard(window_->winId()))
        close();
    else if (!window_->isActive()) // a shortcut is held down: what it leads to is yet to be seen
        QTimer::singleShot(shortcutHeldMs, this, [this] {
            if (state_ == State::shown && !window_->isActive())
                keyboardLost();
        });
}

// Of a press elsewhere a normal window hears only by the loss of the keyboard. Where the pointer
// alone moves the keyboard, it loses that on the pointer's way there as well, and whenever the
// pointer steps out, which may be told a little before or after.
void QuickPopover::turnedAway() {
    if (!leavable_ || !visited_)
        return;
    if (pointerInside_)
        QTimer::singleShot(steppingMs, this, [this] {
            if (pointerInside_ && !window_->isActive())
                close();
        });
    else if (!pointerLeft_.isValid() || pointerLeft_.hasExpired(steppingMs))
        close();
}

void QuickPopover::finishClosing() {
    if (state_ != State::closing || pressedElsewhere_ ||
        animation_.state() != QAbstractAnimation::Stopped)
        return;
    if (style_ != Style::normalWindow)
        windows_.returnKeyboard(window_->winId());
    watch_.reset();
    window_->hide();
    state_ = State::closed;
    if (didClose_)
        didClose_();
}

QRect QuickPopover::sheet() const {
    const int margin = style_ == Style::translucent ? PopoverFrame::shadowMargin : 0;
    return window_->geometry().adjusted(margin, margin, -margin, -margin);
}

bool QuickPopover::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Expose && awaitsExposure_ && window_->isExposed())
        exposed();
    else if (event->type() == QEvent::FocusOut)
        keyboardLost();
    else if (event->type() == QEvent::Enter)
        visited_ = pointerInside_ = true;
    else if (event->type() == QEvent::Leave) {
        pointerInside_ = false;
        pointerLeft_.start();
    } else if (event->type() == QEvent::KeyPress)
        visited_ = true;
    else if (event->type() == QEvent::MouseButtonPress)
        pressedInside_.start();
    else if (event->type() == QEvent::Close) {
        close();
        event->ignore(); // it hides when it has closed
        return true;
    }
    return QObject::eventFilter(watched, event);
}

} // namespace morvel
