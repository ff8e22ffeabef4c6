// What happens at launch, while trust comes and goes, and at the end. Main thread.
#pragma once

#include "app/instance/InstanceRequest.h"
#include "app/permissionwindow/PermissionWindow.h"
#include "app/settings/AppSettings.h"
#include "app/statusitem/StatusItemController.h"
#include "app/trust/AccessibilityPermission.h"
#include "audio/AudioEngine.h"
#include "keyboard/KeyboardEngine.h"
#include "platform/ApplicationActivation.h"
#include "platform/Environment.h"
#include "platform/Log.h"
#include "platform/Scheduler.h"
#include "platform/qt/Subscription.h"
#include "themes/ThemeCatalog.h"
#include "themes/controller/ThemeController.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace morvel {

// Environment variables, on when their value is exactly "1":
//   MORVEL_FORCE_PERMISSION_WINDOW  show the permission window at launch whatever the trust
//   MORVEL_OPEN_DRAWER              open the drawer half a second after launch
class AppDelegate {
public:
    static constexpr double drawerDelay = 0.5; // seconds

    // One of the program's own tests: started at the end of the launch when the environment
    // variable is exactly "1".
    struct TestMode {
        std::string variable;
        std::function<void(AppDelegate&)> start;
    };

    // All must outlive the delegate.
    struct Services {
        ApplicationActivation& activation;
        AppSettings& settings;
        AccessibilityPermission& permission;
        PermissionWindow& permissionWindow;
        const ThemeCatalog& catalog;
        ThemeController& themes;
        AudioEngine& audio;
        KeyboardEngine& keyboard;
        Scheduler& scheduler;
        Log& log;
        // Creates the menu-bar item, which is shown at once.
        std::function<std::unique_ptr<StatusItemController>()> makeStatusItem;
        std::vector<TestMode> testModes = {}; // in the order of their start
    };

    AppDelegate(Services services, const Environment& environment);

    // The launch sequence, once, before or at the first turn of the main run loop.
    void applicationDidFinishLaunching();

    // Releases what was taken from the system: the tap, the trust monitoring, the menu-bar item and
    // its shortcut. Does nothing the second time.
    void applicationWillTerminate();

    // Does what another start of the program asks for; nothing before the launch and from the
    // termination on.
    void serve(InstanceRequest request);

    // Null before the launch and from the termination on.
    StatusItemController* statusItemController() const { return statusItemController_.get(); }

    // The variables that the launch looks at for self-tests, in their order.
    std::vector<std::string> testVariables() const;

private:
    // Activates the persisted theme, else the first of the built-in ones that loads.
    void chooseTheme();
    void passOnboardingGate();
    void trustChanged(bool trusted);
    void startTestModes();
    void openDrawerSoon();

    std::unique_ptr<StatusItemController> statusItemController_;
    const Services services_;
    const Environment environment_;
    const bool forcePermissionWindow_;
    std::optional<Subscription<bool>> trustObserver_;
    std::unique_ptr<Timer> drawerTimer_;
};

} // namespace morvel
