// The whole application as its self-tests find it, with the system around it simulated.
#pragma once

#include "app/AppDelegate.h"
#include "app/settings/JsonDefaultsStore.h"
#include "platform/simulated/OfflineAudioOutput.h"
#include "platform/simulated/ScriptedRandom.h"
#include "platform/simulated/SimulatedApplicationActivation.h"
#include "platform/simulated/SimulatedHotKeyService.h"
#include "platform/simulated/SimulatedKeyEventPoster.h"
#include "platform/simulated/SimulatedKeyTap.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/SimulatedLoginItem.h"
#include "platform/simulated/SimulatedProcessTable.h"
#include "platform/simulated/SimulatedStatusBar.h"
#include "platform/simulated/SimulatedTrustSource.h"
#include "platform/simulated/VirtualTime.h"
#include "selftest/SelfTests.h"
#include "tests/app/statusitem/SimulatedPopover.h"
#include "tests/themes/ThemeFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QWindow>
#include <map>
#include <string>
#include <vector>

namespace morvel::test {

// A window that there is nothing in.
class EmptySettingsWindow : public SettingsWindow {
public:
    explicit EmptySettingsWindow(int rows)
        : rows_(rows) {
        window_.setTitle(QStringLiteral("Morvel Settings"));
        window_.resize(460, 620);
    }
    void show() override { window_.show(); }
    int moduleRowCount() override { return rows_; }

private:
    QWindow window_;
    const int rows_;
};

class EmptyPermissionWindow : public PermissionWindow {
public:
    EmptyPermissionWindow() { window_.setTitle(QStringLiteral("Morvel")); }
    void show(AccessibilityPermission&) override { window_.setVisible(canShow); }
    void close() override { window_.hide(); }

    bool canShow = true;

private:
    QWindow window_;
};

class RunningApplication : public testing::Test {
protected:
    RunningApplication() {
        makeWholeTheme("default");
        makeWholeTheme("mechanical");
    }
    ~RunningApplication() override {
        if (delegate)
            delegate->applicationWillTerminate();
    }

    // Launches it with the self-test of `prefix` switched on, and lets that come to its end.
    void run(const std::string& prefix) {
        variables["MORVEL_" + prefix.substr(0, prefix.size() - 4) + "_SELFTEST"] = "1";
        launch();
        awaitEnd(prefix);
    }
    void launch() {
        const Environment environment = [this](const std::string& name) {
            const auto found = variables.find(name);
            return found == variables.end() ? std::nullopt : std::optional(found->second);
        };
        login.emplace(loginService, bundle, InstallationPaths{"/home", "/home/Downloads", {"/opt"}},
                      log);
        store.emplace(settingsFile, time, log);
        settings.emplace(*store, engine, *login, log);
        permission.emplace(
            AccessibilityPermission::Services{trust, processes, time, time, activation, log},
            bundle, environment);
        keyboard.emplace(KeyboardEngine::Services{tap, *settings, *permission, engine, time, log},
                         false);
        selfTests.emplace(SelfTests::Services{
            time, log, variablesAsEnvironment = environment, engine, *settings, themes,
            SettingsStorage{
                *store, settingsFile, [this] { flush(); },
                [this] { return std::make_unique<JsonDefaultsStore>(readFile, time, log); }},
            catalog, support, *permission, *keyboard, *login, loginService, loginItemFile,
            [this] { return makeSettingsWindow(); },
            [this](const std::string& symbol) { return drawable.contains(symbol); }, random, poster,
            [] {}});
        modes = selfTests->modes();
        delegate.emplace(AppDelegate::Services{activation, *settings, *permission, window, catalog,
                                               themes, engine, *keyboard, time, log,
                                               [this] { return makeStatusItem(); }, modes},
                         environment);
        if (beforeLaunch)
            beforeLaunch();
        delegate->applicationDidFinishLaunching();
        time.advance(0);
    }
    void awaitEnd(const std::string& prefix) {
        for (int i = 0; i < 200 && linesOf(prefix + " complete").empty(); ++i) {
            output.render(4410);
            time.advance(0.1);
        }
    }
    std::unique_ptr<StatusItemController> makeStatusItem() {
        return std::make_unique<StatusItemController>(StatusItemController::Services{
            bar, *settings, engine, time, time, hotKeys, log,
            [this] { return std::make_unique<SimulatedPopover>(popover); }, [] {}, [] {}});
    }
    std::unique_ptr<SettingsWindow> makeSettingsWindow() const {
        return windowsCanBeMade ? std::make_unique<EmptySettingsWindow>(moduleRows) : nullptr;
    }
    void flush() {
        if (flushes)
            store->flush();
    }
    void makeWholeTheme(const std::string& id) {
        const std::string roots(minimalCategories.substr(0, minimalCategories.size() - 1));
        makeTheme(builtIn, id, manifestWith(roots + ", " + std::string(toyCategories) + "}", id),
                  {"keyboard-down-1.wav", "keyboard-up-1.wav", "toy.wav"});
    }

    // The self-test's own lines, without the log's prefix.
    std::vector<std::string> linesOf(const std::string& prefix) const {
        std::vector<std::string> found;
        for (const std::string& line : log.lines())
            if (line.starts_with(std::string(logLinePrefix) + prefix))
                found.push_back(line.substr(logLinePrefix.size()));
        return found;
    }
    // The names of the checks that failed; the verdict must tell the same.
    std::vector<std::string> failuresOf(const std::string& prefix) const {
        const std::string begin = prefix + "   [FAIL] ";
        std::vector<std::string> names;
        std::string list;
        for (const std::string& line : linesOf(begin)) {
            names.push_back(line.substr(begin.size(), line.find(" — ") - begin.size()));
            list += (list.empty() ? ": " : ", ") + names.back();
        }
        EXPECT_THAT(linesOf(prefix + " complete"),
                    testing::ElementsAre(prefix + " complete — " + std::to_string(names.size()) +
                                         " failure(s)" + list));
        return names;
    }

    TemporaryFolder folder;
    std::filesystem::path builtIn = folder / "Sounds";
    std::filesystem::path support = folder / "share";
    std::filesystem::path userThemes = support / "Morvel" / "Themes";
    std::filesystem::path settingsFile = folder / "settings.json";
    std::filesystem::path readFile = settingsFile; // what is read anew
    std::filesystem::path loginItemFile;
    std::map<std::string, std::string> variables;
    std::set<std::string> drawable = {"dial.medium", "dial.medium.fill"};
    bool flushes = true;
    bool windowsCanBeMade = true;
    int moduleRows = 2;
    std::function<void()> beforeLaunch;

    VirtualTime time;
    SimulatedLog log;
    ScriptedRandom random{{0}};
    OfflineAudioOutput output;
    AudioEngine engine{{output, time, time, random, log}, false};
    ApplicationBundle bundle;
    SimulatedLoginItem loginService;
    SimulatedTrustSource trust{true};
    SimulatedProcessTable processes{1, {}};
    SimulatedApplicationActivation activation;
    SimulatedKeyTap tap;
    SimulatedKeyEventPoster poster{tap, time};
    EmptyPermissionWindow window;
    SimulatedStatusBar bar;
    SimulatedHotKeyService hotKeyService;
    GlobalHotKeyRegistry hotKeys{hotKeyService, time, log};
    SimulatedPopover::State popover;
    ThemeCatalog catalog{builtIn, userThemes, log};
    ThemeController themes{{catalog, engine, random, log}};
    std::optional<LaunchAtLogin> login;
    std::optional<JsonDefaultsStore> store;
    std::optional<AppSettings> settings;
    std::optional<AccessibilityPermission> permission;
    std::optional<KeyboardEngine> keyboard;
    Environment variablesAsEnvironment;
    std::optional<SelfTests> selfTests;
    std::vector<AppDelegate::TestMode> modes;
    std::optional<AppDelegate> delegate;
};

} // namespace morvel::test
