#include "selftest/settings/SettingsWindowTest.h"

#include "selftest/OpenWindows.h"

#include <fmt/format.h>

#include <cstdlib>
#include <utility>

namespace morvel {

SettingsWindowTest::SettingsWindowTest(const SettingsUnderTest& tested)
    : tested_(tested)
    , timeline_(tested.scheduler) {}

void SettingsWindowTest::start(std::function<void()> done) {
    const QString title = QStringLiteral("Morvel Settings");
    const QWindowList others = windowsTitled(title);
    window_ = tested_.makeSettingsWindow();
    if (window_)
        window_->show();
    for (QWindow* const window : windowsTitled(title))
        if (!others.contains(window))
            shown_ = window;
    timeline_.in(settling, [this, done = std::move(done)] {
        check();
        window_.reset();
        done();
    });
}

void SettingsWindowTest::displayLost() {
    [[maybe_unused]] const SettingsWindow* const left = window_.release();
}

void SettingsWindowTest::check() {
    constexpr int sliver = 100;
    constexpr int tolerance = 2;
    CheckList& checks = tested_.checks;
    const QRect frame = shown_ ? shown_->frameGeometry() : QRect();
    const int width = shown_ ? shown_->width() : 0;
    checks.check("settings window created", shown_ != nullptr);
    checks.check("settings window is visible", shown_ && shown_->isVisible());
    checks.check("settings window is not the 1×32 sliver",
                 frame.width() > sliver && frame.height() > sliver,
                 fmt::format("{}×{}", frame.width(), frame.height()));
    checks.check("settings window matches the requested content size",
                 std::abs(width - requestedWidth) <= tolerance,
                 fmt::format("content {}pt vs requested {}pt", width, requestedWidth));
}

} // namespace morvel
