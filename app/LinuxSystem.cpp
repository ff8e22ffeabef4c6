#include "app/LinuxSystem.h"

#include "app/applicationwindows/WindowsModule.h"
#include "app/settings/JsonDefaultsStore.h"
#include "platform/HomeFolder.h"
#include "platform/PreferredAudioOutput.h"
#include "platform/PreferredHotKeyService.h"
#include "platform/linux/CoreDumps.h"
#include "platform/linux/DesktopAppearance.h"
#include "platform/linux/EvdevHotKeyService.h"
#include "platform/linux/EvdevKeyTap.h"
#include "platform/linux/FreeMemory.h"
#include "platform/linux/KeyboardAccess.h"
#include "platform/linux/LinuxApplicationBundle.h"
#include "platform/linux/LinuxDesktopPlaces.h"
#include "platform/linux/LinuxTrayWatch.h"
#include "platform/linux/LocaledKeymap.h"
#include "platform/linux/LogindSession.h"
#include "platform/linux/PipeWireStream.h"
#include "platform/linux/PortalHotKeyService.h"
#include "platform/linux/ProcfsProcessTable.h"
#include "platform/linux/PulseAudioServer.h"
#include "platform/linux/ReadAhead.h"
#include "platform/linux/SearchPath.h"
#include "platform/linux/SessionType.h"
#include "platform/linux/SystemClock.h"
#include "platform/linux/UserFolders.h"
#include "platform/linux/X11FloatingWindows.h"
#include "platform/linux/X11HotKeyService.h"
#include "platform/linux/X11KeyEventPoster.h"
#include "platform/linux/X11KeyTap.h"
#include "platform/linux/X11TransientWindows.h"
#include "platform/linux/XdgLoginItem.h"
#include "platform/output/ServerAudioOutput.h"
#include "platform/qt/QtApplicationActivation.h"
#include "platform/qt/QtScheduler.h"

#include <fmt/format.h>

#include <QDBusConnection>
#include <QLibraryInfo>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace morvel {

namespace {

// For an X server that takes no second connection.
class NoHotKeyService : public HotKeyService {
public:
    HotKeyStatus installHandler(Handler) override { return eventInternalErr; }
    Result<HotKeyReference, HotKeyStatus> registerHotKey(std::uint32_t, std::uint32_t,
                                                         HotKeyIdentifier) override {
        return eventInternalErr;
    }
    void unregisterHotKey(HotKeyReference) override {}
};

std::string searchPath(const Environment& environment) {
    return environment("PATH").value_or("/usr/local/bin:/usr/bin:/bin");
}

// Beside the program in a build; in an installed copy with its libraries.
std::vector<std::filesystem::path> windowsModules(const ApplicationBundle& bundle) {
    if (!bundle.executable)
        return {};
    const std::filesystem::path folder = bundle.executable->parent_path();
    return {folder / "morvel-windows.so", folder.parent_path() / "lib/morvel/morvel-windows.so"};
}

// Seconds after the start, by when sound and icon have had the disk to themselves.
constexpr double readAheadDelay = 1;

// What is loaded with the first window while somebody waits for it: more than twenty megabytes,
// which none may have read since the machine was started.
std::vector<std::filesystem::path> windowsFiles(const ApplicationBundle& bundle) {
    std::vector<std::filesystem::path> files = windowsModules(bundle);
    const std::filesystem::path libraries =
        QLibraryInfo::path(QLibraryInfo::LibrariesPath).toStdString();
    for (const char* const name : {"Quick", "Qml", "QmlModels", "Network", "OpenGL"})
        files.push_back(libraries / fmt::format("libQt6{}.so.6", name));
    return files;
}

bool isProgram(const std::filesystem::path& file) {
    return locatedProgram(file.string(), {}).has_value();
}

// With a connection of its own: newer portals want to be told who is asking before all else.
std::unique_ptr<HotKeyService> makePortalHotKeys(Scheduler& scheduler) {
    return std::make_unique<PortalHotKeyService>(
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("shortcut")),
        scheduler,
        PortalHotKeyService::Setup{
            QString::fromUtf8(applicationIdentifier.data(),
                              static_cast<qsizetype>(applicationIdentifier.size())),
            QStringLiteral("mute"), QStringLiteral("Mute or unmute Morvel")});
}

// Where everything of the user's and of the program's is.
struct Places {
    explicit Places(const Environment& environment)
        : home(homeFolder(environment))
        , configuration(configurationFolder(environment, home))
        , data(dataFolder(environment, home))
        , bundle(applicationBundle(runningExecutable(), MORVEL_SOURCE_THEMES))
        , keyboardAccess(keyboardAccessProgram(bundle.executable, isProgram)) {}

    std::filesystem::path autostartEntry() const {
        return configuration / "autostart" / (std::string(applicationIdentifier) + ".desktop");
    }

    std::filesystem::path home;
    std::filesystem::path configuration;
    std::filesystem::path data;
    ApplicationBundle bundle;
    std::filesystem::path keyboardAccess;
};

// Where keys come from, and what the X server gives besides; what stands in for it in a session
// that is not its own. There the keyboards are read themselves, also where a server of old programs
// answers, and the desktop is asked for the shortcut.
struct Session {
    Session(const Environment& environment, const std::filesystem::path& accessProgram,
            const Clock& clock, Scheduler& scheduler, Log& log)
        : keyboard(isX11Session(environment) ? X11Connection::open() : nullptr)
        , desktop(keyboard ? X11Connection::open() : nullptr) {
        if (keyboard) {
            tap = std::make_unique<X11KeyTap>(*keyboard, clock);
            trust = std::make_unique<X11TrustSource>(keyboard.get());
        } else {
            refuseCoreDumps();
            const QDBusConnection system = QDBusConnection::systemBus();
            login.emplace(system, environment);
            nodes.emplace(*login, log);
            keyboards.emplace(*nodes);
            tapKeymap.emplace(system);
            hotKeyKeymap.emplace(system);
            tap = std::make_unique<EvdevKeyTap>(*keyboards,
                                                EvdevKeyTap::Services{*tapKeymap, scheduler, log});
            keyboardAccess.emplace(KeyboardAccess::Setup{
                locatedProgram("pkexec", searchPath(environment)), accessProgram});
            trust = std::make_unique<EvdevTrustSource>(
                *nodes, [this, accessProgram, &log] { askForKeyboards(accessProgram, log); });
        }
        if (desktop) {
            hotKeys = std::make_unique<X11HotKeyService>(*desktop, scheduler);
            poster = std::make_unique<X11KeyEventPoster>(*desktop);
            transients = std::make_unique<X11TransientWindows>(*desktop);
        } else if (keyboards) {
            hotKeys = std::make_unique<PreferredHotKeyService>(
                makePortalHotKeys(scheduler),
                std::make_unique<EvdevHotKeyService>(*keyboards, *hotKeyKeymap), scheduler, log);
        } else {
            hotKeys = std::make_unique<NoHotKeyService>();
        }
        if (!desktop) {
            poster = std::make_unique<NoKeyEventPoster>();
            transients = std::make_unique<NoTransientWindows>();
        }
    }

    // Only ever by the permission window's button, so that somebody waits for what comes of it.
    void askForKeyboards(const std::filesystem::path& program, Log& log) {
        keyboardAccess->grant([this, program, &log](const KeyboardAccessAnswer& answer) {
            if (answer.kind != KeyboardAccessAnswer::Kind::done)
                log.line(fmt::format("No access to the keyboards — {}", answer.problem));
            if (const auto page = grantHelp(answer, program); page && showHelp)
                showHelp(*page);
        });
    }

    std::function<void(const HelpPage&)> showHelp; // empty until there are windows for it
    std::unique_ptr<X11Connection> keyboard;       // the tap's own: keys wait for nothing else
    std::unique_ptr<X11Connection> desktop;
    std::optional<LogindSession> login;
    std::optional<KeyboardNodes> nodes;
    std::optional<EvdevKeyboards> keyboards;
    std::optional<LocaledKeymap> tapKeymap; // whoever goes by the keymap follows its own
    std::optional<LocaledKeymap> hotKeyKeymap;
    std::optional<KeyboardAccess> keyboardAccess;
    std::unique_ptr<KeyTap> tap;
    std::unique_ptr<TrustSource> trust;
    std::unique_ptr<HotKeyService> hotKeys;
    std::unique_ptr<KeyEventPoster> poster;
    std::unique_ptr<TransientWindows> transients;
    X11FloatingWindows floating; // leaves windows of another window system alone
};

} // namespace

struct LinuxSystem::Adapters {
    Adapters(const Environment& variables, Log& systemLog, std::function<void()> exit)
        : environment(variables)
        , log(systemLog)
        , places(environment)
        , session(environment, places.keyboardAccess, clock, scheduler, log)
        , loginItem({places.configuration / "autostart", std::string(applicationIdentifier),
                     places.bundle.executable.value_or(std::filesystem::path()),
                     searchPath(environment)}) {
        if (session.keyboard)
            session.keyboard->setLostHandler(std::move(exit));
    }

    std::filesystem::path settingsFile() const {
        return places.configuration / "Morvel" / "settings.json";
    }

    SettingsStorage settings() {
        return {
            defaults, settingsFile(), [this] { defaults.flush(); },
            [this] { return std::make_unique<JsonDefaultsStore>(settingsFile(), scheduler, log); }};
    }

    // With what else asks the session's bus at the start.
    std::unique_ptr<TrayWatch> makeTrayWatch() {
        const QDBusConnection bus = QDBusConnection::sessionBus();
        appearance.emplace(bus);
        return std::make_unique<LinuxTrayWatch>(session.desktop.get(), bus);
    }

    std::unique_ptr<DesktopPlaces> makeDesktopPlaces() const {
        return std::make_unique<LinuxDesktopPlaces>(
            LinuxDesktopPlaces::Setup{environment("XDG_CURRENT_DESKTOP").value_or(""),
                                      searchPath(environment), session.keyboard != nullptr,
                                      places.autostartEntry(),
                                      locatedProgram(places.keyboardAccess.string(), {})
                                          .value_or(std::filesystem::path())},
            QDBusConnection::sessionBus());
    }

    std::unique_ptr<ApplicationWindows>
    makeWindows(const ApplicationWindows::Services& services) const {
        auto made = loadWindowsModule(windowsModules(places.bundle), MORVEL_VERSION, services);
        if (made)
            return std::move(made).value();
        log.line(fmt::format("Cannot show windows — {}", made.error()));
        return nullptr;
    }

    const Environment environment;
    Log& log;
    const Places places;
    SystemClock clock;
    QtScheduler scheduler;
    QtApplicationActivation activation;
    Session session;
    ProcfsProcessTable processes;
    XdgLoginItem loginItem;
    PreferredAudioOutput output{
        std::make_unique<ServerAudioOutput>(pipeWireServer, scheduler, log),
        std::make_unique<ServerAudioOutput>(pulseAudioServer, scheduler, log), scheduler};
    JsonDefaultsStore defaults{settingsFile(), scheduler, log};
    std::optional<DesktopAppearance> appearance;
    std::jthread reading;
    std::unique_ptr<Timer> readAheadTimer;
};

LinuxSystem::LinuxSystem(const Environment& environment, Log& log, std::function<void()> exit)
    : adapters_(std::make_unique<Adapters>(environment, log, std::move(exit))) {}

LinuxSystem::~LinuxSystem() = default;

SystemServices LinuxSystem::services() {
    Adapters& of = *adapters_;
    return {
        .clock = of.clock,
        .scheduler = of.scheduler,
        .activation = of.activation,
        .tap = *of.session.tap,
        .trust = *of.session.trust,
        .processes = of.processes,
        .hotKeys = *of.session.hotKeys,
        .poster = *of.session.poster,
        .transients = *of.session.transients,
        .floating = of.session.floating,
        .loginItem = of.loginItem,
        .output = of.output,
        .settings = of.settings(),
        .bundle = of.places.bundle,
        .installationPaths = installationPaths(of.environment, of.places.home),
        .applicationSupport = of.places.data,
        .loginItemFile = of.places.autostartEntry(),
        .makeTrayWatch = [&of] { return of.makeTrayWatch(); },
        .makeDesktopPlaces = [&of] { return of.makeDesktopPlaces(); },
        .makeWindows =
            [&of](const ApplicationWindows::Services& services) {
                return of.makeWindows(services);
            },
        .returnFreeMemory = returnFreeMemory,
    };
}

void LinuxSystem::setHelpHandler(std::function<void(const HelpPage&)> show) {
    adapters_->session.showHelp = std::move(show);
}

void LinuxSystem::readWindowsAheadSoon() {
    Adapters& of = *adapters_;
    of.readAheadTimer = of.scheduler.after(
        readAheadDelay, [&of] { of.reading = readAhead(windowsFiles(of.places.bundle)); });
}

bool LinuxSystem::isX11() const {
    return adapters_->session.keyboard != nullptr;
}

} // namespace morvel
