// All windows of the application. Main thread.
//
// What draws them takes more memory than the rest of the program. So only this interface is linked;
// the windows themselves are in a module (WindowsModule.h) that is loaded when one is shown. Where
// a module does not pay, a program may link them (QuickWindows.h).
#pragma once

#include "app/applicationwindows/SettingsWindow.h"
#include "app/login/LaunchAtLogin.h"
#include "app/permissionwindow/PermissionWindow.h"
#include "app/settings/AppSettings.h"
#include "app/trust/AccessibilityPermission.h"
#include "app/windows/Popover.h"
#include "audio/AudioEngine.h"
#include "platform/ApplicationBundle.h"
#include "platform/AudioOutput.h"
#include "platform/Clock.h"
#include "platform/DesktopPlaces.h"
#include "platform/FloatingWindows.h"
#include "platform/HotKeyService.h"
#include "platform/Log.h"
#include "platform/TransientWindows.h"
#include "themes/ThemeCatalog.h"
#include "themes/controller/ThemeController.h"

#include <memory>

namespace morvel {

class ApplicationWindows {
public:
    // What the windows show and use. All must outlive them; only `places`, which keeps the way to
    // the help window, goes first.
    struct Services {
        AppSettings& settings;
        ThemeController& themes;
        AccessibilityPermission& permission;
        const ThemeCatalog& catalog;
        const LaunchAtLogin& login;
        const ApplicationBundle& bundle;
        DesktopPlaces& places;
        AudioEngine& audio;
        const AudioOutput& output;
        const HotKeyService& hotKeys;
        const Clock& clock;
        Log& log;
        TransientWindows& transients;
        FloatingWindows* floating; // null where the system has none
    };

    virtual ~ApplicationWindows() = default;

    virtual PermissionWindow& permissionWindow() = 0;

    // Brings the settings window to the front.
    virtual void showSettings() = 0;

    // Shows the page in place of the one before, in front of all other windows.
    virtual void showHelp(const HelpPage& page) = 0;

    // Another settings window, hidden, that knows nothing of that one. It must not outlive the
    // windows.
    virtual std::unique_ptr<SettingsWindow> makeSettingsWindow() = 0;

    // The fidget drawer's popover. Once; it must not outlive the windows.
    virtual std::unique_ptr<Popover> makeDrawer() = 0;
};

} // namespace morvel
