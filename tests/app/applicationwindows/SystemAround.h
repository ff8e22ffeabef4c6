// Everything that windows show and use, with the system around it simulated.
#pragma once

#include "app/applicationwindows/ApplicationWindows.h"
#include "app/settings/JsonDefaultsStore.h"
#include "platform/simulated/OfflineAudioOutput.h"
#include "platform/simulated/ScriptedRandom.h"
#include "platform/simulated/SimulatedApplicationActivation.h"
#include "platform/simulated/SimulatedDesktopPlaces.h"
#include "platform/simulated/SimulatedHotKeyService.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/SimulatedLoginItem.h"
#include "platform/simulated/SimulatedProcessTable.h"
#include "platform/simulated/SimulatedTrustSource.h"
#include "platform/simulated/VirtualTime.h"
#include "tests/support/TemporaryFolder.h"

namespace morvel::test {

struct SystemAround {
    ApplicationWindows::Services services() {
        return {settings, themes, permission, catalog, login, bundle,     places,
                audio,    output, hotKeys,    time,    log,   transients, nullptr};
    }

    TemporaryFolder folder;
    VirtualTime time;
    SimulatedLog log;
    ScriptedRandom random{{0}};
    OfflineAudioOutput output;
    AudioEngine audio{{output, time, time, random, log}, false};
    JsonDefaultsStore store{folder / "settings.json", time, log};
    SimulatedLoginItem service;
    ApplicationBundle bundle;
    LaunchAtLogin login{service, bundle, {}, log};
    AppSettings settings{store, audio, login, log};
    ThemeCatalog catalog{folder.folder("Sounds"), folder.folder("Themes"), log};
    ThemeController themes{{catalog, audio, random, log}};
    SimulatedTrustSource trust{false};
    SimulatedProcessTable processes{1, {}};
    SimulatedApplicationActivation activation;
    AccessibilityPermission permission{{trust, processes, time, time, activation, log},
                                       bundle,
                                       [](const std::string&) { return std::nullopt; }};
    SimulatedDesktopPlaces places;
    SimulatedHotKeyService hotKeys;
    NoTransientWindows transients;
};

} // namespace morvel::test
