// The composition root: picks the adapters, builds every long-lived object and runs the main loop.

#include "app/AppDelegate.h"
#include "app/login/LaunchAtLogin.h"
#include "app/settings/JsonDefaultsStore.h"
#include "platform/ApplicationActivation.h"
#include "platform/linux/CubebAudioOutput.h"
#include "platform/linux/LinuxApplicationBundle.h"
#include "platform/linux/ProcfsProcessTable.h"
#include "platform/linux/SessionType.h"
#include "platform/linux/SystemClock.h"
#include "platform/linux/SystemLog.h"
#include "platform/linux/SystemRandom.h"
#include "platform/linux/TerminationSignals.h"
#include "platform/linux/UserFolders.h"
#include "platform/linux/X11KeyTap.h"
#include "platform/linux/XdgLoginItem.h"
#include "platform/qt/QtScheduler.h"

#include <QCoreApplication>

namespace {

using namespace morvel;

bool isOn(const Environment& environment, const std::string& name) {
    return environment(name) == "1";
}

// A tap for a session that has no keyboards to listen to.
class NoKeyTap : public KeyTap {
public:
    bool install(Listener&) override { return false; }
    void enable() override {}
    void remove() override {}
};

std::string searchPath(const Environment& environment) {
    return environment("PATH").value_or("/usr/local/bin:/usr/bin:/bin");
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    const TerminationSignals termination([] { QCoreApplication::quit(); });

    SystemLog log;
    const SystemClock clock;
    SystemRandom random;
    QtScheduler scheduler;
    const Environment environment = systemEnvironment();
    const std::filesystem::path home = homeFolder(environment);
    const std::filesystem::path configuration = configurationFolder(environment, home);
    const std::filesystem::path data = dataFolder(environment, home);
    const std::filesystem::path sourceThemes = MORVEL_SOURCE_THEMES;
    const ApplicationBundle bundle = applicationBundle(runningExecutable(), sourceThemes);

    XdgLoginItem loginItem({configuration / "autostart", std::string(applicationIdentifier),
                            bundle.executable.value_or(std::filesystem::path()),
                            searchPath(environment)});
    LaunchAtLogin launchAtLogin(loginItem, bundle, installationPaths(environment, home), log);

    CubebAudioOutput output(scheduler, log);
    AudioEngine audio({output, clock, scheduler, random, log},
                      isOn(environment, "MORVEL_AUDIO_TRACE"));
    JsonDefaultsStore defaults(configuration / "Morvel" / "settings.json", scheduler, log);
    AppSettings settings(defaults, audio, launchAtLogin, log);

    const std::unique_ptr<X11Connection> display =
        isX11Session(environment) ? X11Connection::open() : nullptr;
    X11TrustSource trust(display.get());
    const ProcfsProcessTable processes;
    NoApplicationActivation activation;
    AccessibilityPermission permission({trust, processes, clock, scheduler, activation, log},
                                       bundle, environment);

    std::unique_ptr<KeyTap> tap;
    if (display) {
        tap = std::make_unique<X11KeyTap>(*display, clock);
        display->setLostHandler([&log] {
            log.line("The X server has gone away — quitting");
            QCoreApplication::quit();
        });
    } else {
        tap = std::make_unique<NoKeyTap>();
    }
    KeyboardEngine keyboard({*tap, settings, permission, audio, clock, log},
                            isOn(environment, "MORVEL_LATENCY_TRACE"));

    const ThemeCatalog catalog(bundle.themes, data / "Morvel" / "Themes", log);
    ThemeController themes({catalog, audio, random, log});
    AppDelegate delegate({settings, permission, catalog, themes, audio, keyboard, log});
    delegate.applicationDidFinishLaunching();
    const int status = QCoreApplication::exec();
    delegate.applicationWillTerminate();
    return status;
}
