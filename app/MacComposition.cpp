// The composition for macOS.

#include "app/AppDelegate.h"
#include "app/Composition.h"
#include "app/applicationwindows/LateWindows.h"
#include "app/applicationwindows/QuickWindows.h"
#include "app/login/LaunchAtLogin.h"
#include "platform/HomeFolder.h"
#include "platform/SystemRandom.h"
#include "platform/macos/AccessibilityTrustSource.h"
#include "platform/macos/AppServiceLoginItem.h"
#include "platform/macos/CarbonHotKeyService.h"
#include "platform/macos/CoreAudioServer.h"
#include "platform/macos/EventKeyPoster.h"
#include "platform/macos/EventTapKeyTap.h"
#include "platform/macos/HostClock.h"
#include "platform/macos/LibprocProcessTable.h"
#include "platform/macos/MacApplicationActivation.h"
#include "platform/macos/MacApplicationBundle.h"
#include "platform/macos/MacDesktopPlaces.h"
#include "platform/macos/MacFloatingWindows.h"
#include "platform/macos/MacFolders.h"
#include "platform/macos/MacFreeMemory.h"
#include "platform/macos/MacTransientWindows.h"
#include "platform/macos/MenuBar.h"
#include "platform/macos/PreferencesDefaultsStore.h"
#include "platform/output/ServerAudioOutput.h"
#include "platform/qt/QtApplicationActivation.h"
#include "platform/qt/QtScheduler.h"
#include "platform/qt/QtStatusBar.h"
#include "selftest/SelfTests.h"
#include "views/Symbols.h"

#include <utility>

namespace morvel {

namespace {

bool isOn(const Environment& environment, const std::string& name) {
    return environment(name) == "1";
}

AudioEngine::Options engineOptions(const Environment& environment) {
    AudioEngine::Options options;
    if (const auto seconds = decimalNumber(environment, "MORVEL_KEEP_WARM_SECONDS");
        seconds && *seconds > 0)
        options.keepWarmSeconds = *seconds;
    return options;
}

} // namespace

struct Composition::Objects {
    Objects(const Environment& variables, Log& systemLog, std::function<void()> endLoop)
        : log(systemLog)
        , environment(variables)
        , quit(std::move(endLoop))
        , home(homeFolder(environment))
        , data(applicationSupportFolder(home))
        , bundle(mainBundle(MORVEL_SOURCE_THEMES))
        , audioTrace(isOn(environment, "MORVEL_AUDIO_TRACE"))
        , latencyTrace(isOn(environment, "MORVEL_LATENCY_TRACE"))
        , launchAtLogin(loginItem, bundle, installationPaths(home), log)
        , permission({trust, processes, clock, scheduler, activation, log}, bundle, environment)
        , catalog(bundle.themes, data / "Morvel" / "Themes", log)
        , delegate(delegateServices(), environment) {
        QObject::connect(&themes, &ThemeController::activeThemeIDChanged, &themes,
                         [this] { returnFreeMemorySoon(); });
    }

    AppDelegate::Services delegateServices() {
        return {activation,
                settings,
                permission,
                windows,
                catalog,
                themes,
                audio,
                keyboard,
                scheduler,
                log,
                [this] { return makeStatusItem(); },
                selfTests.modes()};
    }

    // The system keeps the settings in a file of its own, which is none of ours to put back.
    SelfTests::Services selfTestServices() {
        return {scheduler,
                log,
                environment,
                audio,
                settings,
                themes,
                {defaults,
                 {},
                 [this] { defaults.flush(); },
                 [] { return std::make_unique<PreferencesDefaultsStore>(); }},
                catalog,
                data,
                permission,
                keyboard,
                launchAtLogin,
                loginItem,
                {},
                [this] { return windows.makeSettingsWindow(); },
                [](const std::string& symbol) {
                    return !symbolIcon(QString::fromStdString(symbol), Qt::black).isNull();
                },
                random,
                poster,
                [this] { scheduler.async(quit); }};
    }

    std::unique_ptr<StatusItemController> makeStatusItem() {
        return std::make_unique<StatusItemController>(StatusItemController::Services{
            statusBar, settings, audio, clock, scheduler, hotKeys, log,
            [this] { return windows.makeDrawer(); }, [this] { windows.showSettings(); }, quit});
    }

    std::unique_ptr<ApplicationWindows> makeWindows() {
        return makeQuickWindows({settings, themes, permission, catalog, launchAtLogin, bundle,
                                 desktopPlaces, audio, output, hotKeyService, clock, log,
                                 transients, &floating});
    }

    // Loading a theme takes much more memory than the theme.
    void returnFreeMemorySoon() { scheduler.async(returnFreeMemory); }

    Log& log;
    const Environment environment;
    const std::function<void()> quit;
    const std::filesystem::path home;
    const std::filesystem::path data;
    const ApplicationBundle bundle;
    const bool audioTrace;
    const bool latencyTrace;
    HostClock clock;
    SystemRandom random;
    QtScheduler scheduler;
    QtApplicationActivation windowActivation;
    MacApplicationActivation activation{windowActivation};
    EventTapKeyTap tap;
    AccessibilityTrustSource trust;
    CarbonHotKeyService hotKeyService;
    EventKeyPoster poster;
    MacTransientWindows transients;
    MacFloatingWindows floating;
    AppServiceLoginItem loginItem;
    LaunchAtLogin launchAtLogin;
    ServerAudioOutput output{coreAudioServer, scheduler, log};
    AudioEngine audio{
        {output, clock, scheduler, random, log}, audioTrace, engineOptions(environment)};
    PreferencesDefaultsStore defaults;
    AppSettings settings{defaults, audio, launchAtLogin, log};
    LibprocProcessTable processes;
    AccessibilityPermission permission;
    KeyboardEngine keyboard{{tap, settings, permission, audio, clock, log}, latencyTrace};
    ThemeCatalog catalog;
    ThemeController themes{{catalog, audio, random, log}};
    LateWindows windows{[this] { return makeWindows(); }};
    MacDesktopPlaces desktopPlaces; // tells the windows what could not be opened
    GlobalHotKeyRegistry hotKeys{hotKeyService, scheduler, log};
    MenuBar menuBar;
    QtStatusBar statusBar{menuBar, symbolIcon};
    SelfTests selfTests{selfTestServices()};
    AppDelegate delegate;
};

// The window server ends a program's session together with the program.
Composition::Composition(const Environment& environment, Log& log, std::function<void()> quit,
                         std::function<void()>)
    : objects_(std::make_unique<Objects>(environment, log, std::move(quit))) {}

Composition::~Composition() = default;

void Composition::launch() {
    objects_->delegate.applicationDidFinishLaunching();
    objects_->returnFreeMemorySoon();
}

void Composition::serve(InstanceRequest request) {
    objects_->delegate.serve(request);
}

void Composition::saveSettings() {
    objects_->defaults.flush();
}

void Composition::terminate() {
    saveSettings();
    objects_->delegate.applicationWillTerminate();
}

void Composition::displayLost() {
    objects_->keyboard.stop();
    objects_->selfTests.displayLost();
    objects_->defaults.flush();
}

} // namespace morvel
