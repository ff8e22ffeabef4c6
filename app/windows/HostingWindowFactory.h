// Hosts declarative views in windows. Main thread.
#pragma once

#include "app/windows/Popover.h"
#include "platform/FloatingWindows.h"
#include "platform/TransientWindows.h"

#include <QQmlEngine>
#include <QQuickView>
#include <QRect>
#include <QSize>
#include <QString>
#include <QUrl>
#include <QVariantMap>
#include <functional>
#include <memory>
#include <string>

namespace morvel {

// A view and the objects it is shown with.
struct ViewContent {
    QUrl source;            // "qrc:/..."
    QVariantMap properties; // set before the view is complete; objects must outlive the window
};

class HostingWindowFactory {
public:
    // `prepare` is called for the engine when the first window is made: nothing of QML is loaded
    // before. `floating`, where the system has it, must outlive the windows.
    explicit HostingWindowFactory(std::function<void(QQmlEngine&)> prepare,
                                  FloatingWindows* floating = nullptr);
    ~HostingWindowFactory();

    // A titled, closable window of fixed size that floats above others on every workspace, centred
    // on the screen, hidden until it is shown. Closing hides it. Null when the view cannot be
    // loaded, which is logged by Qt. Must not outlive the factory.
    std::unique_ptr<QQuickView> makeWindow(const QString& title, QSize size,
                                           const ViewContent& content);

    // A popover of fixed size around a view, which is made when it is first shown; a view that
    // cannot be loaded is logged then, and nothing is shown. As a normal window it has the title.
    // Its content shows no corners of its own: they are the popover's. Must not outlive the factory
    // or `windows`.
    std::unique_ptr<Popover> makePopover(const QString& title, QSize size,
                                         const ViewContent& content, TransientWindows& windows);

    QQmlEngine& engine();

private:
    std::function<void(QQmlEngine&)> prepare_;
    FloatingWindows* floating_;
    std::unique_ptr<QQmlEngine> engine_;
};

// Shows the window in front of all others and gives it the keyboard.
void bringToFront(QWindow& window);

// The rectangle as logs have it: "{{x, y}, {width, height}}".
std::string rectangleText(const QRect& rectangle);

} // namespace morvel
