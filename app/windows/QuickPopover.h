// A popover around a declarative view. The engine is asked for, and the view made, at the first
// opening; the view is kept from then on.
#pragma once

#include "app/windows/HostingWindowFactory.h"
#include "app/windows/Popover.h"
#include "platform/TransientWindows.h"

#include <QElapsedTimer>
#include <QObject>
#include <QVariantAnimation>
#include <memory>

namespace morvel {

class PopoverFrame;
class PopoverWindow;

class QuickPopover : public QObject, public Popover {
public:
    static constexpr int openingMs = 140;
    static constexpr int closingMs = 120;
    static constexpr int insideNewsMs = 30;    // that the window's own press may be late
    static constexpr qint64 insideMs = 90;     // that a press inside is the one just seen
    static constexpr int shortcutHeldMs = 100; // between looks at who has the keyboard
    static constexpr int steppingMs = 150;     // that the pointer and the keyboard leave apart

    // `engine` and `windows` must outlive the popover. `title` is that of the normal window.
    QuickPopover(std::function<QQmlEngine&()> engine, TransientWindows& windows, QString title,
                 QSize size, ViewContent content);
    ~QuickPopover() override;

    bool isShown() const override { return state_ != State::closed; }
    void show(const std::optional<QRect>& anchor) override;
    void showAsWindow() override;
    void close() override;
    void setDidClose(std::function<void()> didClose) override { didClose_ = std::move(didClose); }

    // Null before the first opening.
    QQuickWindow* window() const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    enum class State { closed, shown, closing };
    enum class Style { translucent, bordered, normalWindow };

    void showNormal(bool leavable);
    bool prepare(Style style);
    bool makeWindow();
    void present();
    void reopen();
    void exposed();
    void animate(qreal to, int milliseconds);
    void setProgress(qreal progress);
    void buttonChanged(bool down);
    void keyboardLost();
    void turnedAway();
    void finishClosing();
    QRect sheet() const;

    const std::function<QQmlEngine&()> engine_;
    TransientWindows& windows_;
    const QString title_;
    const QSize size_;
    const ViewContent content_;
    std::function<void()> didClose_;
    std::unique_ptr<PopoverWindow> window_;
    PopoverFrame* frame_ = nullptr; // the window's
    QQuickItem* holder_ = nullptr;  // the window's; the content's parent
    std::unique_ptr<QQuickItem> view_;
    Style style_ = Style::normalWindow;
    State state_ = State::closed;
    bool awaitsExposure_ = false;
    bool leavable_ = false; // a normal window that closes when the user turns to something else
    bool visited_ = false;  // and to which the user has turned
    bool pointerInside_ = false;
    QElapsedTimer pointerLeft_; // since then; only for a normal window
    bool buttonDown_ = false;
    QElapsedTimer pressedInside_;   // since the last press that the window was sent
    bool pressedElsewhere_ = false; // and the button is still down
    qreal progress_ = 0;            // of the opening, 0 to 1
    QPoint position_;               // of the window when it is open
    int rise_ = 0;                  // where the opening animation comes from, in points
    QVariantAnimation animation_;
    std::unique_ptr<TransientWindows::PointerWatch> watch_;
};

} // namespace morvel
