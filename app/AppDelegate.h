// What happens at launch, while trust comes and goes, and at the end. Main thread.
#pragma once

#include "app/settings/AppSettings.h"
#include "app/trust/AccessibilityPermission.h"
#include "audio/AudioEngine.h"
#include "keyboard/KeyboardEngine.h"
#include "platform/Log.h"
#include "themes/ThemeCatalog.h"
#include "themes/controller/ThemeController.h"

#include <QObject>

namespace morvel {

class AppDelegate {
public:
    // All must outlive the delegate.
    struct Services {
        AppSettings& settings;
        AccessibilityPermission& permission;
        const ThemeCatalog& catalog;
        ThemeController& themes;
        AudioEngine& audio;
        KeyboardEngine& keyboard;
        Log& log;
    };

    explicit AppDelegate(Services services);

    // The launch sequence, once, before or at the first turn of the main run loop.
    void applicationDidFinishLaunching();

    // Releases what was taken from the system: the tap and the trust monitoring.
    void applicationWillTerminate();

private:
    // Activates the persisted theme, else the first of the built-in ones that loads.
    void chooseTheme();
    void trustChanged(bool trusted);

    Services services_;
    QObject trustObserver_; // the subscription to trust lives as long as this
};

} // namespace morvel
