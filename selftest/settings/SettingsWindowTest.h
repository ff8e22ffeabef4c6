// The settings self-test of the window that comes of a fresh controller. Main thread.
#pragma once

#include "selftest/Timeline.h"
#include "selftest/settings/SettingsUnderTest.h"

#include <QPointer>
#include <QWindow>
#include <functional>
#include <memory>

namespace morvel {

class SettingsWindowTest {
public:
    // How long the window system has to place the window, in seconds.
    static constexpr double settling = 0.5;
    static constexpr int requestedWidth = 460; // points

    explicit SettingsWindowTest(const SettingsUnderTest& tested);

    // Calls `done` when the window is closed again. A settings window that is open stays as it is.
    void start(std::function<void()> done);

    // Lets go of the window, which cannot be destroyed without its display.
    void displayLost();

private:
    void check();

    const SettingsUnderTest& tested_;
    Timeline timeline_;
    std::unique_ptr<SettingsWindow> window_;
    QPointer<QWindow> shown_;
};

} // namespace morvel
