#include "selftest/settings/SettingsSelfTest.h"
#include "tests/selftest/RunningApplication.h"

#include <QGuiApplication>

namespace morvel::test {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

std::string passed(const std::string& name) {
    return "SETTINGSTEST   [PASS] " + name;
}

class SettingsSelfTestTest : public RunningApplication {
protected:
    void run() { RunningApplication::run("SETTINGSTEST"); }
    std::vector<std::string> lines() const { return linesOf("SETTINGSTEST"); }
    std::vector<std::string> failures() const { return failuresOf("SETTINGSTEST"); }
    // Everything below a folder with its content.
    static std::map<std::string, std::string> treeOf(const fs::path& root) {
        std::map<std::string, std::string> tree;
        for (const auto& entry : fs::recursive_directory_iterator(root))
            tree[entry.path().string()] = entry.is_regular_file() ? readText(entry.path()) : "";
        return tree;
    }
    void installCopy() {
        bundle = {"/opt/Morvel.app/bin/morvel", "/opt/Morvel.app", "app.x", std::nullopt};
        variables["MORVEL_LOGIN_ITEM_TEST"] = "1";
    }
};

TEST_F(SettingsSelfTestTest, APlainRunPassesEveryCheckInItsOrder) {
    run();
    EXPECT_THAT(
        lines(),
        ElementsAre(
            "SETTINGSTEST starting", passed("user themes folder created at launch"),
            passed("folder is under Application Support"), passed("bundled themes discovered"),
            passed("the persisted theme is the one that loaded"),
            passed("mechanical descriptor present"), passed("mechanical reports full coverage"),
            passed("malformed themes skipped, not crashed"),
            passed("active theme survived a bad drop"),
            passed("activating a broken theme is refused"),
            passed("active theme unchanged after refused switch"),
            passed("bundled themes directory resolvable"),
            passed("theme dropped at runtime appears in the picker"),
            passed("partial theme reports authored vs inherited"),
            passed("partial theme activates"),
            passed("authored category comes from the theme itself"),
            passed("unauthored category inherits rather than going silent"),
            passed("undecodable sample is not counted as authored"),
            passed("corrupt-sample theme still activates on its good category"),
            passed("picker row matches the loaded theme exactly"),
            passed("the inherited category really does inherit"),
            passed("volume persisted to UserDefaults"), passed("toggle persisted to UserDefaults"),
            passed("second volume persisted"), passed("volume takes effect without restart"),
            passed("disabled module reports disabled"),
            passed("master volume reaches the engine live"), passed("restore persisted"),
            passed("only Keyboard and Fidget Drawer modules exist"),
            passed("no trackpad category remains"),
            passed("Settings renders one row per remaining module"),
            passed("retired trackpad keys purged from UserDefaults"),
            passed("launch-at-login state matches SMAppService"),
            passed("login item registration not exercised — set MORVEL_LOGIN_ITEM_TEST=1 (from a "
                   "real .app) to register for real"),
            passed("permission observer sees committed state, not willSet state"),
            passed("settings window created"), passed("settings window is visible"),
            StartsWith(passed("settings window is not the 1×32 sliver — 46")), // with its frame
            passed("settings window matches the requested content size — content 460pt vs "
                   "requested 460pt"),
            passed("permission is polled for live changes — set "
                   "MORVEL_SIMULATE_UNTRUSTED_SECONDS=2 to observe a real transition"),
            "SETTINGSTEST starting dial loop before theme switch",
            "SETTINGSTEST switching 'mechanical' -> 'default' mid-loop",
            passed("loop is sounding before the switch"),
            passed("theme switch during an active loop succeeded"),
            passed("loop torn down by the switch, not orphaned"),
            passed("engine still plays after the swap"),
            passed("a new loop starts on the new theme"), passed("switching back succeeds"),
            "SETTINGSTEST complete — 0 failure(s)"));
    EXPECT_NEAR(time.now(), 1001.0, 1e-6); // half a second for the window, one for the loop
}

TEST_F(SettingsSelfTestTest, OnlyTheValueOneSwitchesItOn) {
    const auto enabledBy = [](const std::optional<std::string>& value) {
        return SettingsSelfTest::isEnabled([&](const std::string& name) {
            return name == "MORVEL_SETTINGS_SELFTEST" ? value : std::nullopt;
        });
    };
    EXPECT_TRUE(enabledBy("1"));
    for (const char* other : {"", "0", "true", "yes", "1 "})
        EXPECT_FALSE(enabledBy(other));
    EXPECT_FALSE(enabledBy(std::nullopt));
    variables["MORVEL_SETTINGS_SELFTEST"] = "true";
    launch();
    time.advance(10);
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(SettingsSelfTestTest, EverythingIsAsItWasAfterwards) {
    writeText(settingsFile, R"({"theme.id":"default", "module.fidget.volume": 0.30,
        "other": [1], "module.keyboard.volume": "0.25"})");
    makeMinimalTheme(userThemes, "mine");
    makeMinimalTheme(userThemes, "selftest-drop", "My own");
    const auto themesBefore = treeOf(userThemes);
    const std::string settingsBefore = readText(settingsFile);
    run();
    EXPECT_THAT(failures(), IsEmpty());
    time.advance(10);
    store->flush();
    EXPECT_EQ(readText(settingsFile), settingsBefore);
    EXPECT_EQ(treeOf(userThemes), themesBefore);
    EXPECT_EQ(themes.activeThemeID(), "default");
    EXPECT_EQ(themes.available().size(), 4U);
    EXPECT_EQ(themes.lastError(), std::nullopt);
    EXPECT_EQ(settings->themeID(), "default");
    EXPECT_EQ(settings->keyboardVolume(), 0.25F);
    EXPECT_TRUE(settings->fidgetEnabled());
    EXPECT_EQ(settings->fidgetVolume(), 0.3F);
    EXPECT_EQ(engine.masterVolume(), 1.0F);
    EXPECT_EQ(engine.loopCategory(), std::nullopt);
    EXPECT_FALSE(store->contains("master.volume"));
    EXPECT_EQ(loginService.registrations, 0);
}

TEST_F(SettingsSelfTestTest, WithoutASettingsFileThereIsNoneAfterwards) {
    run();
    EXPECT_THAT(failures(), IsEmpty());
    time.advance(10);
    store->flush();
    EXPECT_FALSE(fs::exists(settingsFile));
}

TEST_F(SettingsSelfTestTest, SettingsThatAreNoUsualNumbersComeBack) {
    writeText(settingsFile, R"({"module.keyboard.volume": "nan", "master.volume": 7.5,
        "master.muted": true})");
    const std::string before = readText(settingsFile);
    run();
    EXPECT_THAT(failures(), IsEmpty());
    EXPECT_EQ(readText(settingsFile), before);
    EXPECT_EQ(settings->masterVolume(), 7.5F);
    EXPECT_TRUE(engine.isMuted());
}

TEST_F(SettingsSelfTestTest, WhereTheUserHasMutedItTheLoopIsTestedUnheard) {
    writeText(settingsFile, R"({"master.muted": true})");
    variables["MORVEL_SETTINGS_SELFTEST"] = "1";
    launch();
    while (!engine.loopCategory())
        time.advance(0.05);
    EXPECT_EQ(engine.submixOutputVolume(), 0.0F);
    awaitEnd("SETTINGSTEST");
    EXPECT_THAT(failures(), IsEmpty());
    EXPECT_TRUE(engine.isMuted());
    EXPECT_EQ(engine.submixOutputVolume(), 0.0F);
}

TEST_F(SettingsSelfTestTest, ASettingsWindowThatIsOpenStaysAsItWas) {
    EmptySettingsWindow users(2);
    users.show();
    run();
    EXPECT_THAT(failures(), IsEmpty());
    const auto windows = QGuiApplication::topLevelWindows();
    EXPECT_EQ(std::ranges::count_if(windows,
                                    [](const QWindow* candidate) {
                                        return candidate->isVisible() &&
                                               candidate->title() == "Morvel Settings";
                                    }),
              1);
}

TEST_F(SettingsSelfTestTest, AStoreThatDoesNotPersistFails) {
    flushes = false;
    run();
    EXPECT_THAT(failures(),
                ElementsAre("volume persisted to UserDefaults", "toggle persisted to UserDefaults",
                            "second volume persisted"));
}

TEST_F(SettingsSelfTestTest, AStoreThatKeepsWhatItShouldRestoreFails) {
    // The next start would read another file, which the restoring does not reach.
    readFile = folder.file("frozen.json", R"({"module.keyboard.volume": 0.42,
        "module.fidget.enabled": false, "module.fidget.volume": 0.77,
        "module.trackpad.volume": 1})");
    beforeLaunch = [this] {
        QObject::connect(&*settings, &AppSettings::masterVolumeChanged, &*settings,
                         [this] { writeText(readFile, R"({"module.trackpad.volume": 1})"); });
    };
    run();
    EXPECT_THAT(failures(),
                ElementsAre("volume persisted to UserDefaults", "toggle persisted to UserDefaults",
                            "second volume persisted", "restore persisted",
                            "retired trackpad keys purged from UserDefaults"));
}

TEST_F(SettingsSelfTestTest, SettingsThatDoNotTakeEffectFail) {
    beforeLaunch = [this] {
        AppSettings& all = *settings;
        QObject::connect(&all, &AppSettings::keyboardVolumeChanged, &all,
                         [&all] { all.setKeyboardVolume(1); });
        QObject::connect(&all, &AppSettings::fidgetEnabledChanged, &all,
                         [&all] { all.setFidgetEnabled(true); });
        QObject::connect(&all, &AppSettings::masterVolumeChanged, &all,
                         [this] { engine.setMasterVolume(0.1F); });
    };
    run();
    EXPECT_THAT(failures(),
                ElementsAre("volume persisted to UserDefaults", "toggle persisted to UserDefaults",
                            "volume takes effect without restart",
                            "disabled module reports disabled",
                            "master volume reaches the engine live"));
}

TEST_F(SettingsSelfTestTest, AThemesFolderThatCannotBeMadeFails) {
    writeText(userThemes, "a file in its place");
    run();
    EXPECT_THAT(failures(), ElementsAre("user themes folder created at launch",
                                        "malformed themes skipped, not crashed",
                                        "activating a broken theme is refused",
                                        "theme dropped at runtime appears in the picker",
                                        "partial theme reports authored vs inherited",
                                        "partial theme activates",
                                        "authored category comes from the theme itself",
                                        "unauthored category inherits rather than going silent",
                                        "undecodable sample is not counted as authored",
                                        "corrupt-sample theme still activates on its good category",
                                        "picker row matches the loaded theme exactly",
                                        "the inherited category really does inherit"));
    EXPECT_EQ(readText(userThemes), "a file in its place");
}

TEST_F(SettingsSelfTestTest, AThemesFolderElsewhereFails) {
    support = folder / "elsewhere";
    run();
    EXPECT_THAT(failures(), ElementsAre("folder is under Application Support"));
}

TEST_F(SettingsSelfTestTest, WithoutTheMechanicalThemeItFails) {
    fs::remove_all(builtIn / "mechanical");
    run();
    EXPECT_THAT(failures(),
                ElementsAre("mechanical descriptor present", "mechanical reports full coverage",
                            "bundled themes directory resolvable",
                            "theme dropped at runtime appears in the picker",
                            "partial theme reports authored vs inherited",
                            "partial theme activates",
                            "authored category comes from the theme itself",
                            "unauthored category inherits rather than going silent",
                            "undecodable sample is not counted as authored",
                            "corrupt-sample theme still activates on its good category",
                            "picker row matches the loaded theme exactly",
                            "the inherited category really does inherit",
                            "theme switch during an active loop succeeded",
                            "loop torn down by the switch, not orphaned"));
}

TEST_F(SettingsSelfTestTest, AThemeThatCoversLessAndNoDefaultToInheritFromFail) {
    fs::remove_all(builtIn);
    makeMinimalTheme(builtIn, "mechanical");
    run();
    EXPECT_THAT(failures(),
                testing::IsSupersetOf({"mechanical reports full coverage",
                                       "unauthored category inherits rather than going silent",
                                       "the inherited category really does inherit",
                                       "loop is sounding before the switch",
                                       "loop torn down by the switch, not orphaned"}));
    EXPECT_THAT(lines(), Contains(passed("partial theme activates")));
}

TEST_F(SettingsSelfTestTest, WithoutAnyThemeItFailsAndComesToItsEnd) {
    fs::remove_all(builtIn);
    run();
    EXPECT_THAT(failures(),
                testing::IsSupersetOf(
                    {"bundled themes discovered", "the persisted theme is the one that loaded",
                     "active theme survived a bad drop", "switching back succeeds"}));
    EXPECT_THAT(lines(), Contains("SETTINGSTEST switching 'none' -> 'none' mid-loop"));
}

TEST_F(SettingsSelfTestTest, AnotherThemeThanThePersistedOneFails) {
    beforeLaunch = [this] {
        QObject::connect(&themes, &ThemeController::activeThemeIDChanged, &themes,
                         [this] { store->setString("theme.id", "default"); });
    };
    run();
    EXPECT_THAT(failures(), ElementsAre("the persisted theme is the one that loaded"));
}

TEST_F(SettingsSelfTestTest, AModuleWithoutARowFails) {
    moduleRows = 1;
    run();
    EXPECT_THAT(failures(), ElementsAre("Settings renders one row per remaining module"));
}

TEST_F(SettingsSelfTestTest, AWindowThatCannotBeMadeFails) {
    windowsCanBeMade = false;
    run();
    EXPECT_THAT(failures(), ElementsAre("Settings renders one row per remaining module",
                                        "settings window created", "settings window is visible",
                                        "settings window is not the 1×32 sliver",
                                        "settings window matches the requested content size"));
    EXPECT_THAT(lines(), Contains("SETTINGSTEST   [FAIL] settings window matches the requested "
                                  "content size — content 0pt vs requested 460pt"));
}

TEST_F(SettingsSelfTestTest, ALaunchAtLoginStateThatIsNotTheServicesFails) {
    bundle = {"/opt/Morvel.app/bin/morvel", "/opt/Morvel.app", "app.x", std::nullopt};
    beforeLaunch = [this] { loginService.current = LoginItemStatus::enabled; };
    run();
    EXPECT_THAT(failures(), ElementsAre("launch-at-login state matches SMAppService"));
}

TEST_F(SettingsSelfTestTest, AnInstalledCopyRegistersAndUnregistersForReal) {
    installCopy();
    run();
    EXPECT_THAT(failures(), IsEmpty());
    EXPECT_THAT(lines(), Contains("SETTINGSTEST login item status before: not registered"));
    for (const char* check : {"toggling on registers the login item", "toggling off unregisters it",
                              "original login item state restored"})
        EXPECT_THAT(lines(), Contains(passed(check)));
    EXPECT_EQ(loginService.registrations, 1);
    EXPECT_EQ(loginService.unregistrations, 1);
    EXPECT_EQ(loginService.current, LoginItemStatus::notRegistered);
    EXPECT_FALSE(settings->launchAtLogin());
}

TEST_F(SettingsSelfTestTest, ALoginItemThatWasThereIsThereAgain) {
    installCopy();
    loginService.current = LoginItemStatus::enabled;
    loginItemFile = folder.file("autostart/entry", "the user's own lines\n");
    beforeLaunch = [this] {
        QObject::connect(&*settings, &AppSettings::launchAtLoginChanged, &*settings,
                         [this](bool on) { writeText(loginItemFile, on ? "on" : "off"); });
    };
    run();
    EXPECT_THAT(failures(), IsEmpty());
    EXPECT_THAT(lines(), Contains("SETTINGSTEST login item status before: enabled"));
    EXPECT_EQ(loginService.current, LoginItemStatus::enabled);
    EXPECT_EQ(loginService.registrations, 2) << "once to prove it, once to restore it";
    EXPECT_EQ(readText(loginItemFile), "the user's own lines\n");
    EXPECT_TRUE(settings->launchAtLogin());
}

TEST_F(SettingsSelfTestTest, ALooseCopyCannotRegister) {
    variables["MORVEL_LOGIN_ITEM_TEST"] = "1";
    run();
    EXPECT_THAT(failures(), ElementsAre("login item registration requires an installed .app "
                                        "bundle"));
    EXPECT_EQ(loginService.registrations, 0);
}

TEST_F(SettingsSelfTestTest, AServiceThatRefusesFails) {
    installCopy();
    loginService.error = "not allowed";
    run();
    EXPECT_THAT(failures(), ElementsAre("toggling on registers the login item"));
}

TEST_F(SettingsSelfTestTest, AServiceThatDoesNotUnregisterFails) {
    installCopy();
    beforeLaunch = [this] {
        QObject::connect(&*settings, &AppSettings::launchAtLoginChanged, &*settings,
                         [this](bool on) {
                             if (!on)
                                 loginService.error = "not allowed";
                         });
    };
    run();
    EXPECT_THAT(failures(),
                ElementsAre("toggling off unregisters it", "original login item state restored"));
}

TEST_F(SettingsSelfTestTest, AnObserverThatIsToldAnotherValueThanTheMonitorHasFails) {
    // The last thing before the observer is told is a change that it has not heard of.
    beforeLaunch = [this] {
        const auto original =
            std::ranges::find(modes, "MORVEL_SETTINGS_SELFTEST", &AppDelegate::TestMode::variable)
                ->start;
        delegate.emplace(AppDelegate::Services{activation,
                                               *settings,
                                               *permission,
                                               window,
                                               catalog,
                                               themes,
                                               engine,
                                               *keyboard,
                                               time,
                                               log,
                                               [this] { return makeStatusItem(); },
                                               {{"MORVEL_SETTINGS_SELFTEST",
                                                 [this, original](AppDelegate& application) {
                                                     time.async([this] {
                                                         trust.trusted = false;
                                                         permission->refresh();
                                                     });
                                                     original(application);
                                                 }}}},
                         variablesAsEnvironment);
    };
    run();
    EXPECT_THAT(failures(), ElementsAre("permission observer sees committed state, not willSet "
                                        "state"));
}

TEST_F(SettingsSelfTestTest, TrustThatComesIsObservedFourAndAHalfSecondsOn) {
    variables["MORVEL_SIMULATE_UNTRUSTED_SECONDS"] = "2";
    run();
    EXPECT_THAT(failures(), IsEmpty());
    EXPECT_THAT(lines(), Contains(passed("trust change observed live without user action")));
    EXPECT_THAT(lines(), Not(Contains(testing::HasSubstr("is polled"))));
    EXPECT_NEAR(time.now(), 1005.5, 0.15);
}

TEST_F(SettingsSelfTestTest, TrustThatDoesNotComeFails) {
    variables["MORVEL_SIMULATE_UNTRUSTED_SECONDS"] = "2";
    trust.trusted = false;
    run();
    EXPECT_THAT(failures(), ElementsAre("trust change observed live without user action"));
}

TEST_F(SettingsSelfTestTest, AMonitorThatDoesNotPollFails) {
    variables["MORVEL_SETTINGS_SELFTEST"] = "1";
    launch();
    permission->stopMonitoring();
    awaitEnd("SETTINGSTEST");
    EXPECT_THAT(failures(), ElementsAre("permission is polled for live changes"));
}

TEST_F(SettingsSelfTestTest, ALoopThatSurvivesTheSwitchFails) {
    beforeLaunch = [this] {
        QObject::connect(&themes, &ThemeController::activeThemeIDChanged, &themes,
                         [this] { engine.startLoop(SoundCategory::dialLoop, 1, 1); });
    };
    run();
    EXPECT_THAT(failures(), ElementsAre("loop torn down by the switch, not orphaned"));
    EXPECT_EQ(engine.loopCategory(), std::nullopt);
}

TEST_F(SettingsSelfTestTest, AnEngineThatIsSilentAfterTheSwitchFails) {
    beforeLaunch = [this] {
        QObject::connect(&themes, &ThemeController::activeThemeIDChanged, &themes, [this] {
            if (themes.activeThemeID() == "default")
                engine.setResolver(nullptr);
        });
    };
    run();
    EXPECT_THAT(failures(), ElementsAre("engine still plays after the swap",
                                        "a new loop starts on the new theme"));
}

TEST_F(SettingsSelfTestTest, AThemeThatIsGoneWhenItShouldComeBackFails) {
    makeWholeTheme("zebra");
    writeText(settingsFile, R"({"theme.id": "zebra"})");
    beforeLaunch = [this] {
        QObject::connect(&themes, &ThemeController::activeThemeIDChanged, &themes, [this] {
            if (themes.activeThemeID() == "default")
                fs::remove_all(builtIn / "zebra");
        });
    };
    run();
    EXPECT_THAT(failures(), ElementsAre("switching back succeeds"));
}

TEST_F(SettingsSelfTestTest, EndingTheProgramInBetweenIsHarmless) {
    variables["MORVEL_SETTINGS_SELFTEST"] = "1";
    launch();
    delegate->applicationWillTerminate();
    selfTests.reset();
    time.advance(10);
    EXPECT_THAT(linesOf("SETTINGSTEST complete"), IsEmpty());
}

} // namespace
} // namespace morvel::test
