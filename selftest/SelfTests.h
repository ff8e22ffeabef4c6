// The program's own tests, which a person or a script asks an installed copy to run on this very
// machine. They drive the real objects of the running application and tell what they find in the
// log.
//
// Main thread. Each runs at most once a launch, when its environment variable is exactly "1".
#pragma once

#include "app/AppDelegate.h"
#include "app/applicationwindows/SettingsWindow.h"
#include "app/login/LaunchAtLogin.h"
#include "app/settings/AppSettings.h"
#include "app/trust/AccessibilityPermission.h"
#include "audio/AudioEngine.h"
#include "keyboard/KeyboardEngine.h"
#include "platform/Environment.h"
#include "platform/KeyEventPoster.h"
#include "platform/Log.h"
#include "platform/LoginItemService.h"
#include "platform/RandomSource.h"
#include "platform/Scheduler.h"
#include "selftest/SettingsStorage.h"
#include "themes/ThemeCatalog.h"
#include "themes/controller/ThemeController.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace morvel {

class SelfTests {
public:
    // What the self-tests drive; all of it must outlive them.
    struct Services {
        Scheduler& scheduler;
        Log& log;
        const Environment& environment;
        AudioEngine& audio;
        AppSettings& settings;
        ThemeController& themes;
        SettingsStorage storage;
        const ThemeCatalog& catalog;
        std::filesystem::path applicationSupport; // where the system keeps programs' data
        const AccessibilityPermission& permission;
        const KeyboardEngine& keyboard;
        const LaunchAtLogin& login;
        const LoginItemService& loginItem;
        std::filesystem::path loginItemFile; // empty where the service keeps none
        // A settings window of its own; null where it cannot be made. Must not outlive the windows.
        std::function<std::unique_ptr<SettingsWindow>()> makeSettingsWindow;
        // Whether there is a symbol of that name.
        std::function<bool(const std::string&)> isDrawable;
        RandomSource& random;
        KeyEventPoster& keys;
        // Ends the program in a later turn of the main run loop; may be called before that runs.
        std::function<void()> terminate;
    };

    explicit SelfTests(Services services);
    ~SelfTests();
    SelfTests(const SelfTests&) = delete;
    SelfTests& operator=(const SelfTests&) = delete;

    // In the order in which they start; must not outlive this.
    std::vector<AppDelegate::TestMode> modes();

    // Ends what still runs, and puts back what it has changed for its time; none starts any more.
    // Windows are left alone: there is nobody to close them with.
    void displayLost();

private:
    struct Running;

    void rememberSettings();
    void startAudio();
    void startTheme();
    void startSettings();
    void startKeyGroups();
    void startPolish(const AppDelegate& delegate);
    void startKeyboard();
    void startFidget();

    const Services services_;
    std::unique_ptr<Running> running_; // null: stopped
};

} // namespace morvel
