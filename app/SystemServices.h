// What the program takes from the system that it runs on. Each system has one place that makes all
// of it: LinuxSystem, MacSystem.
#pragma once

#include "app/applicationwindows/ApplicationWindows.h"
#include "app/login/LaunchAtLogin.h"
#include "platform/ApplicationActivation.h"
#include "platform/ApplicationBundle.h"
#include "platform/AudioOutput.h"
#include "platform/Clock.h"
#include "platform/DesktopPlaces.h"
#include "platform/FloatingWindows.h"
#include "platform/HotKeyService.h"
#include "platform/KeyEventPoster.h"
#include "platform/KeyTap.h"
#include "platform/LoginItemService.h"
#include "platform/ProcessTable.h"
#include "platform/Scheduler.h"
#include "platform/TransientWindows.h"
#include "platform/TrustSource.h"
#include "platform/qt/TrayWatch.h"
#include "selftest/SettingsStorage.h"

#include <filesystem>
#include <functional>
#include <memory>

namespace morvel {

// Main thread. All that is referred to must outlive the composition.
struct SystemServices {
    Clock& clock;
    Scheduler& scheduler;
    ApplicationActivation& activation;
    KeyTap& tap;
    TrustSource& trust;
    const ProcessTable& processes;
    HotKeyService& hotKeys;
    KeyEventPoster& poster;
    TransientWindows& transients;
    FloatingWindows& floating;
    LoginItemService& loginItem;
    AudioOutput& output;
    SettingsStorage settings;
    const ApplicationBundle& bundle;
    InstallationPaths installationPaths;
    std::filesystem::path applicationSupport; // where programs keep the user's data
    std::filesystem::path loginItemFile;      // empty where the system keeps none
    // Never null. Called when sound is on its way, which waits for no panel.
    std::function<std::unique_ptr<TrayWatch>()> makeTrayWatch;
    // Never null. They go before the windows, which they may have something to tell.
    std::function<std::unique_ptr<DesktopPlaces>()> makeDesktopPlaces;
    // Null where there can be none, which it has logged. Called once at most.
    std::function<std::unique_ptr<ApplicationWindows>(const ApplicationWindows::Services&)>
        makeWindows;
    // Gives memory that was given back to the allocator back to the system.
    std::function<void()> returnFreeMemory;
};

} // namespace morvel
