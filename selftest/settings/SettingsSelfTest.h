// The settings self-test: settings, themes, window, login item and permission of the running
// application, one log line a check. It changes real settings and restores them.
//
// Main thread. Once a launch.
#pragma once

#include "selftest/CheckList.h"
#include "selftest/settings/SettingsUnderTest.h"

#include <memory>

namespace morvel {

class SettingsSelfTest {
public:
    static constexpr const char* variable = "MORVEL_SETTINGS_SELFTEST";

    // What is not passed to run(); as in SettingsUnderTest.
    struct Services {
        Log& log;
        Scheduler& scheduler;
        const Environment& environment;
        const SettingsStorage& storage;
        const ThemeCatalog& catalog;
        const std::filesystem::path& applicationSupport;
        AudioEngine& audio;
        const AccessibilityPermission& permission;
        const LaunchAtLogin& login;
        const LoginItemService& loginItem;
        const std::filesystem::path& loginItemFile;
        const std::function<std::unique_ptr<SettingsWindow>()>& makeSettingsWindow;
    };

    // Whether the environment asks for it.
    static bool isEnabled(const Environment& environment);

    explicit SettingsSelfTest(const Services& services);
    ~SettingsSelfTest();
    SettingsSelfTest(const SettingsSelfTest&) = delete;
    SettingsSelfTest& operator=(const SettingsSelfTest&) = delete;

    // The tests one after another; the last of them run on after this has returned.
    void run(AppSettings& settings, ThemeController& themes);

    // What has a window leaves it where it is; only to be destroyed after this.
    void displayLost();

private:
    struct Running;

    const Services services_;
    CheckList checks_;
    std::unique_ptr<Running> running_;
};

} // namespace morvel
