// What the tests of the settings self-test drive.
#pragma once

#include "app/applicationwindows/SettingsWindow.h"
#include "app/login/LaunchAtLogin.h"
#include "app/settings/AppSettings.h"
#include "app/trust/AccessibilityPermission.h"
#include "audio/AudioEngine.h"
#include "platform/Environment.h"
#include "platform/Log.h"
#include "platform/LoginItemService.h"
#include "platform/Scheduler.h"
#include "selftest/CheckList.h"
#include "selftest/SettingsStorage.h"
#include "themes/ThemeCatalog.h"
#include "themes/controller/ThemeController.h"

#include <filesystem>
#include <functional>
#include <memory>

namespace morvel {

// All of it must outlive the tests.
struct SettingsUnderTest {
    CheckList& checks;
    Log& log;
    Scheduler& scheduler;
    const Environment& environment;
    AppSettings& settings;
    const SettingsStorage& storage;
    ThemeController& themes;
    const ThemeCatalog& catalog;
    const std::filesystem::path& applicationSupport; // where the system keeps programs' data
    AudioEngine& audio;
    const AccessibilityPermission& permission;
    const LaunchAtLogin& login;
    const LoginItemService& loginItem;
    const std::filesystem::path& loginItemFile; // empty where the service keeps none
    // A settings window of the test's own; null where it cannot be made.
    const std::function<std::unique_ptr<SettingsWindow>()>& makeSettingsWindow;
};

} // namespace morvel
