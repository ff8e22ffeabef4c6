// The polish self-test: menu-bar item, mute shortcut and the handling of lost access in the running
// application, one log line a check. It changes real settings and restores them.
//
// Main thread. Once a launch.
#pragma once

#include "selftest/CheckList.h"
#include "selftest/polish/PolishUnderTest.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace morvel {

class PolishSelfTest {
public:
    static constexpr const char* variable = "MORVEL_POLISH_SELFTEST";

    // What is not passed to run(); as in PolishUnderTest.
    struct Services {
        Log& log;
        Scheduler& scheduler;
        const Environment& environment;
        const SettingsStorage& storage;
        const ThemeController& themes;
        AudioEngine& audio;
        const AccessibilityPermission& permission;
        const KeyboardEngine& keyboard;
        // Whether there is a symbol of that name.
        std::function<bool(const std::string&)> isDrawable;
        // The environment variables that the launch looks at for self-tests.
        std::vector<std::string> switches;
    };

    // Whether the environment asks for it.
    static bool isEnabled(const Environment& environment);

    explicit PolishSelfTest(Services services);
    ~PolishSelfTest();
    PolishSelfTest(const PolishSelfTest&) = delete;
    PolishSelfTest& operator=(const PolishSelfTest&) = delete;

    // The tests one after another; the last of them run on after this has returned.
    void run(StatusItemController& statusItem, AppSettings& settings);

private:
    struct Running;

    const Services services_;
    CheckList checks_;
    std::unique_ptr<Running> running_;
};

} // namespace morvel
