#include "app/MacSystem.h"

#include "app/applicationwindows/QuickWindows.h"
#include "platform/HomeFolder.h"
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

namespace morvel {

struct MacSystem::Adapters {
    Adapters(const Environment& environment, Log& log)
        : home(homeFolder(environment))
        , output(coreAudioServer, scheduler, log) {}

    const std::filesystem::path home;
    const ApplicationBundle bundle = mainBundle(MORVEL_SOURCE_THEMES);
    HostClock clock;
    QtScheduler scheduler;
    QtApplicationActivation windowActivation;
    MacApplicationActivation activation{windowActivation};
    EventTapKeyTap tap;
    AccessibilityTrustSource trust;
    LibprocProcessTable processes;
    CarbonHotKeyService hotKeys;
    EventKeyPoster poster;
    MacTransientWindows transients;
    MacFloatingWindows floating;
    AppServiceLoginItem loginItem;
    ServerAudioOutput output;
    PreferencesDefaultsStore defaults;
};

MacSystem::MacSystem(const Environment& environment, Log& log)
    : adapters_(std::make_unique<Adapters>(environment, log)) {}

MacSystem::~MacSystem() = default;

SystemServices MacSystem::services() {
    Adapters& of = *adapters_;
    return {
        .clock = of.clock,
        .scheduler = of.scheduler,
        .activation = of.activation,
        .tap = of.tap,
        .trust = of.trust,
        .processes = of.processes,
        .hotKeys = of.hotKeys,
        .poster = of.poster,
        .transients = of.transients,
        .floating = of.floating,
        .loginItem = of.loginItem,
        .output = of.output,
        // The system keeps the settings in a file of its own, which is none of ours to put back.
        .settings = {of.defaults,
                     {},
                     [&of] { of.defaults.flush(); },
                     [] { return std::make_unique<PreferencesDefaultsStore>(); }},
        .bundle = of.bundle,
        .installationPaths = installationPaths(of.home),
        .applicationSupport = applicationSupportFolder(of.home),
        .loginItemFile = {},
        .makeTrayWatch = [] { return std::make_unique<MenuBar>(); },
        .makeDesktopPlaces = [] { return std::make_unique<MacDesktopPlaces>(); },
        .makeWindows = makeQuickWindows,
        .returnFreeMemory = returnFreeMemory,
    };
}

} // namespace morvel
