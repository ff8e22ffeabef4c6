// A settings window on real settings and themes, with the system around it simulated.
#pragma once

#include "app/settings/JsonDefaultsStore.h"
#include "app/settingswindow/SettingsWindowController.h"
#include "app/views/AppViews.h"
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
#include "tests/themes/ThemeFolder.h"
#include "views/Views.h"

namespace morvel::test {

struct SettingsWindowFixture {
    // With two built-in themes, "default" and "mechanical"; `bundle` is where the copy runs from.
    explicit SettingsWindowFixture(const std::filesystem::path& bundle = "/Applications/Morvel.app")
        : copy{bundle / "bin/morvel", bundle, "app.x", std::nullopt}
        , login(service, copy, {"/home/u", "/home/u/Downloads", {"/Applications"}}, log) {
        addTheme(bundled, "default", "Default", "Morvel");
        addTheme(bundled, "mechanical", "Mechanical", "Morvel");
    }

    static void addTheme(const std::filesystem::path& root, const std::string& id,
                         const std::string& name, const std::string& author = "") {
        std::string manifest = manifestWith(minimalCategories, name);
        if (!author.empty())
            manifest.insert(1, R"("author": ")" + author + R"(", )");
        makeTheme(root, id, manifest, {"keyboard-down-1.wav", "keyboard-up-1.wav"});
    }
    void grant(bool trusted) {
        trust.trusted = trusted;
        permission.refresh();
    }
    QQuickView& shown() {
        controller.show();
        return *controller.window();
    }

    TemporaryFolder temporary;
    std::filesystem::path bundled = temporary.folder("Sounds");
    std::filesystem::path user = temporary.folder("Themes");
    VirtualTime time;
    SimulatedLog log;
    ScriptedRandom random{{0}};
    OfflineAudioOutput output;
    AudioEngine audio{{output, time, time, random, log}, false};
    JsonDefaultsStore store{temporary / "settings.json", time, log};
    SimulatedLoginItem service;
    ApplicationBundle copy;
    LaunchAtLogin login;
    AppSettings settings{store, audio, login, log};
    ThemeCatalog catalog{bundled, user, log, NameOrder(std::locale::classic())};
    ThemeController themes{{catalog, audio, random, log}};
    SimulatedTrustSource trust{false};
    SimulatedProcessTable processes{1, {}};
    SimulatedApplicationActivation activation;
    AccessibilityPermission permission{{trust, processes, time, time, activation, log},
                                       copy,
                                       [](const std::string&) { return std::nullopt; }};
    HostingWindowFactory windows{[](QQmlEngine& engine) {
        prepareViews(engine);
        registerAppViews();
    }};
    HelpWindowController help{windows};
    SimulatedDesktopPlaces places;
    SimulatedHotKeyService hotKeys;
    SettingsWindowController controller{
        windows,
        log,
        {settings, themes, permission, catalog, login, output, hotKeys, places, help}};
};

} // namespace morvel::test
