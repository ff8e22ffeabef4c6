// The settings self-test of a theme that is switched while the dial's loop sounds. Main thread;
// blocks on the disk.
#pragma once

#include "selftest/ActiveThemeAsItWas.h"
#include "selftest/Timeline.h"
#include "selftest/UnmutedEngine.h"
#include "selftest/settings/SettingsUnderTest.h"

#include <functional>
#include <optional>

namespace morvel {

class LoopSwitchTest {
public:
    static constexpr double leadTime = 0.5; // seconds that the loop sounds before the switch

    explicit LoopSwitchTest(const SettingsUnderTest& tested);

    // Calls `done` when the theme of before is active again and no loop sounds.
    void start(std::function<void()> done);

private:
    void switchTheme();
    std::string otherTheme(const std::string& active) const;

    const SettingsUnderTest& tested_;
    Timeline timeline_;
    std::optional<UnmutedEngine> unmuted_;
};

} // namespace morvel
