#include "app/Composition.h"

#include "app/AppDelegate.h"
#include "app/applicationwindows/LateWindows.h"
#include "platform/Decimal.h"
#include "platform/SystemRandom.h"
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
    Objects(const SystemServices& ofSystem, const Environment& variables, Log& systemLog,
            std::function<void()> endLoop)
        : system(ofSystem)
        , environment(variables)
        , log(systemLog)
        , quit(std::move(endLoop)) {
        QObject::connect(&themes, &ThemeController::activeThemeIDChanged, &themes,
                         [this] { returnFreeMemorySoon(); });
    }

    AppDelegate::Services delegateServices() {
        return {system.activation,
                settings,
                permission,
                windows,
                catalog,
                themes,
                audio,
                keyboard,
                system.scheduler,
                log,
                [this] { return makeStatusItem(); },
                selfTests.modes()};
    }

    SelfTests::Services selfTestServices() {
        return {system.scheduler,
                log,
                environment,
                audio,
                settings,
                themes,
                system.settings,
                catalog,
                system.applicationSupport,
                permission,
                keyboard,
                launchAtLogin,
                system.loginItem,
                system.loginItemFile,
                [this] { return windows.makeSettingsWindow(); },
                [](const std::string& symbol) {
                    return !symbolIcon(QString::fromStdString(symbol), Qt::black).isNull();
                },
                random,
                system.poster,
                [this] { system.scheduler.async(quit); }};
    }

    std::unique_ptr<StatusItemController> makeStatusItem() {
        return std::make_unique<StatusItemController>(StatusItemController::Services{
            statusBar, settings, audio, system.clock, system.scheduler, hotKeys, log,
            [this] { return windows.makeDrawer(); }, [this] { windows.showSettings(); }, quit});
    }

    std::unique_ptr<ApplicationWindows> makeWindows() {
        return system.makeWindows({settings, themes, permission, catalog, launchAtLogin,
                                   system.bundle, *desktopPlaces, audio, system.output,
                                   system.hotKeys, system.clock, log, system.transients,
                                   &system.floating});
    }

    // Loading a theme takes much more memory than the theme.
    void returnFreeMemorySoon() { system.scheduler.async(system.returnFreeMemory); }

    const SystemServices system;
    const Environment environment;
    Log& log;
    const std::function<void()> quit;
    SystemRandom random;
    LaunchAtLogin launchAtLogin{system.loginItem, system.bundle, system.installationPaths, log};
    AudioEngine audio{{system.output, system.clock, system.scheduler, random, log},
                      isOn(environment, "MORVEL_AUDIO_TRACE"),
                      engineOptions(environment)};
    AppSettings settings{system.settings.store, audio, launchAtLogin, log};
    AccessibilityPermission permission{
        {system.trust, system.processes, system.clock, system.scheduler, system.activation, log},
        system.bundle,
        environment};
    KeyboardEngine keyboard{{system.tap, settings, permission, audio, system.clock, log},
                            isOn(environment, "MORVEL_LATENCY_TRACE")};
    ThemeCatalog catalog{system.bundle.themes, system.applicationSupport / "Morvel" / "Themes",
                         log};
    ThemeController themes{{catalog, audio, random, log}};
    LateWindows windows{[this] { return makeWindows(); }};
    std::unique_ptr<DesktopPlaces> desktopPlaces = system.makeDesktopPlaces();
    GlobalHotKeyRegistry hotKeys{system.hotKeys, system.scheduler, log};
    std::unique_ptr<TrayWatch> trayWatch = system.makeTrayWatch();
    QtStatusBar statusBar{*trayWatch, symbolIcon};
    SelfTests selfTests{selfTestServices()};
    AppDelegate delegate{delegateServices(), environment};
};

Composition::Composition(const SystemServices& system, const Environment& environment, Log& log,
                         std::function<void()> quit)
    : objects_(std::make_unique<Objects>(system, environment, log, std::move(quit))) {}

Composition::~Composition() = default;

void Composition::launch() {
    objects_->delegate.applicationDidFinishLaunching();
    objects_->returnFreeMemorySoon();
}

void Composition::serve(InstanceRequest request) {
    objects_->delegate.serve(request);
}

void Composition::showHelp(const HelpPage& page) {
    objects_->windows.showHelp(page);
}

void Composition::saveSettings() {
    objects_->system.settings.flush();
}

void Composition::terminate() {
    saveSettings(); // before all that the display server may end in the middle
    objects_->delegate.applicationWillTerminate();
}

void Composition::displayLost() {
    objects_->keyboard.stop();
    objects_->selfTests.displayLost();
    saveSettings();
}

} // namespace morvel
