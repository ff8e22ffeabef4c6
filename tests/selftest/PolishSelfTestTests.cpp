#include "selftest/polish/MenuBarChecks.h"
#include "selftest/polish/PolishSelfTest.h"
#include "tests/selftest/RunningApplication.h"

namespace morvel::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

std::string passed(const std::string& name) {
    return "POLISHTEST   [PASS] " + name;
}

class PolishSelfTestTest : public RunningApplication {
protected:
    void run() { RunningApplication::run("POLISHTEST"); }
    std::vector<std::string> lines() const { return linesOf("POLISHTEST"); }
    std::vector<std::string> failures() const { return failuresOf("POLISHTEST"); }
    // A whole run whose last part is `scenario`.
    static std::vector<std::string> runWith(const std::vector<std::string>& scenario) {
        std::vector<std::string> all = {
            "POLISHTEST starting",
            passed("dial.medium exists (outline / muted)"),
            passed("dial.medium.fill exists (filled / sounding)"),
            passed("the menu-bar icon is a dial, not a waveform"),
            passed("debug menu removed"),
            passed("mute is reachable from the menu"),
            passed("the global shortcut is discoverable in the menu"),
            passed("settings and quit remain"),
            passed("env-gated harness switches still present"),
            passed("icon is filled while sounding"),
            passed("engine is audible while unmuted"),
            passed("hotkey path mutes"),
            passed("icon is outline while muted"),
            passed("menu item reflects muted state"),
            passed("hotkey path unmutes"),
            passed("icon returns to filled"),
            passed("mute state persisted"),
        };
        all.insert(all.end(), scenario.begin(), scenario.end());
        all.emplace_back("POLISHTEST complete — 0 failure(s)");
        return all;
    }
    static std::vector<std::string> failuresOf(const std::function<void(CheckList&)>& make) {
        SimulatedLog ownLog;
        CheckList checks("T", ownLog);
        make(checks);
        return checks.failures();
    }
    using RunningApplication::failuresOf;
};

TEST_F(PolishSelfTestTest, APlainRunPassesEveryCheckInItsOrder) {
    run();
    EXPECT_THAT(lines(), ElementsAreArray(runWith(
                             {passed("revocation wiring present — run with "
                                     "MORVEL_SIMULATE_REVOKE_AFTER_SECONDS=2 to exercise losing "
                                     "access")})));
}

TEST_F(PolishSelfTestTest, TrustThatReturnsIsObservedLive) {
    variables["MORVEL_SIMULATE_UNTRUSTED_SECONDS"] = "2";
    run();
    EXPECT_THAT(lines(), ElementsAreArray(
                             runWith({passed("started untrusted under simulation"),
                                      passed("input modules stopped while untrusted"),
                                      passed("fidget drawer still works without permission — the "
                                             "drawer needs no Accessibility access"),
                                      "POLISHTEST observed trust restored",
                                      passed("trust restored and observed live"),
                                      passed("input modules restarted once trust returned")})));
    EXPECT_NEAR(time.now(), 1004.5, 0.15);
}

TEST_F(PolishSelfTestTest, TrustThatIsLostIsObservedLive) {
    variables["MORVEL_SIMULATE_REVOKE_AFTER_SECONDS"] = "2";
    run();
    EXPECT_THAT(lines(), ElementsAreArray(
                             runWith({passed("started trusted, before the simulated revocation"),
                                      passed("input modules running while trusted"),
                                      passed("revocation observed live without user action"),
                                      passed("input modules stopped on revocation"),
                                      passed("sounding loop torn down rather than left hanging"),
                                      passed("permission window re-prompted on revocation"),
                                      passed("audio engine still running after revocation"),
                                      passed("fidget drawer still has samples to play")})));
    EXPECT_NEAR(time.now(), 1005.0, 0.15);
}

TEST_F(PolishSelfTestTest, OnlyTheValueOneSwitchesItOn) {
    const auto enabledBy = [](const std::optional<std::string>& value) {
        return PolishSelfTest::isEnabled([&](const std::string& name) {
            return name == "MORVEL_POLISH_SELFTEST" ? value : std::nullopt;
        });
    };
    EXPECT_TRUE(enabledBy("1"));
    for (const char* other : {"", "0", "true", "yes", "1 "})
        EXPECT_FALSE(enabledBy(other));
    EXPECT_FALSE(enabledBy(std::nullopt));
}

TEST_F(PolishSelfTestTest, WithoutAStatusItemItDoesNotStart) {
    launch();
    delegate->applicationWillTerminate();
    for (const AppDelegate::TestMode& mode : selfTests->modes())
        if (mode.variable == PolishSelfTest::variable)
            mode.start(*delegate);
    time.advance(10);
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(PolishSelfTestTest, SettingsAreTestedBeforePolish) {
    variables["MORVEL_SETTINGS_SELFTEST"] = "1";
    variables["MORVEL_POLISH_SELFTEST"] = "1";
    launch();
    awaitEnd("SETTINGSTEST");
    EXPECT_THAT(failures(), IsEmpty());
    EXPECT_THAT(failuresOf("SETTINGSTEST"), IsEmpty());
    const auto all = log.lines();
    EXPECT_LT(std::ranges::find(all, "[Morvel] SETTINGSTEST starting"),
              std::ranges::find(all, "[Morvel] POLISHTEST starting"));
}

TEST_F(PolishSelfTestTest, TheMuteStateAndTheFileAreAsTheyWere) {
    for (const std::string text : {R"({"master.muted":true})", R"({ "x": 1 })", R"({})"}) {
        writeText(settingsFile, text);
        run();
        EXPECT_THAT(failures(), IsEmpty());
        time.advance(10);
        store->flush();
        EXPECT_EQ(readText(settingsFile), text);
        EXPECT_EQ(settings->isMuted(), text.find("true") != std::string::npos);
        EXPECT_EQ(engine.isMuted(), settings->isMuted());
        EXPECT_EQ(engine.loopCategory(), std::nullopt);
        EXPECT_EQ(delegate->statusItemController()->currentIconSymbolName(),
                  settings->isMuted() ? "dial.medium" : "dial.medium.fill");
        delegate->applicationWillTerminate();
        delegate.reset();
        selfTests.reset();
        log.clear();
    }
}

TEST_F(PolishSelfTestTest, AMasterVolumeOfNothingIsNoFailure) {
    writeText(settingsFile, R"({"master.volume": 0})");
    run();
    EXPECT_THAT(failures(), IsEmpty());
}

TEST_F(PolishSelfTestTest, AShortcutThatDoesNotMuteFails) {
    beforeLaunch = [this] {
        QObject::connect(&*settings, &AppSettings::isMutedChanged, &*settings,
                         [this] { settings->setMuted(false); });
    };
    run();
    EXPECT_THAT(failures(), ElementsAre("hotkey path mutes", "icon is outline while muted",
                                        "menu item reflects muted state"));
}

TEST_F(PolishSelfTestTest, AShortcutThatDoesNotUnmuteAndAnEngineThatStaysSilentFail) {
    beforeLaunch = [this] {
        QObject::connect(&*settings, &AppSettings::isMutedChanged, &*settings, [this](bool muted) {
            if (!muted)
                settings->setMuted(true);
        });
    };
    run();
    EXPECT_THAT(failures(), ElementsAre("hotkey path unmutes", "icon returns to filled",
                                        "mute state persisted"));
}

TEST_F(PolishSelfTestTest, AnEngineThatIsNotAudibleFails) {
    beforeLaunch = [this] { time.async([this] { engine.setSubmixOutputVolume(0.5F); }); };
    run();
    EXPECT_THAT(failures(), ElementsAre("engine is audible while unmuted"));
}

TEST_F(PolishSelfTestTest, AnIconThatDoesNotChangeFails) {
    bar.hasButton = false;
    run();
    EXPECT_THAT(failures(),
                ElementsAre("the menu-bar icon is a dial, not a waveform",
                            "icon is filled while sounding", "icon is outline while muted",
                            "menu item reflects muted state", "icon returns to filled"));
}

TEST_F(PolishSelfTestTest, AStoreThatDoesNotPersistFails) {
    flushes = false;
    run();
    EXPECT_THAT(failures(), ElementsAre("mute state persisted"));
}

TEST_F(PolishSelfTestTest, SymbolsThatAreNotThereFail) {
    drawable.clear();
    run();
    EXPECT_THAT(failures(), ElementsAre("dial.medium exists (outline / muted)",
                                        "dial.medium.fill exists (filled / sounding)"));
}

TEST_F(PolishSelfTestTest, AWaveformOrNoIconFails) {
    const auto drawn = [](const std::string&) { return true; };
    for (const std::optional<std::string>& current :
         {std::optional<std::string>("waveform"), std::optional<std::string>()})
        EXPECT_THAT(
            failuresOf([&](CheckList& checks) { checkIconSymbols(checks, drawn, current); }),
            ElementsAre("the menu-bar icon is a dial, not a waveform"));
}

TEST_F(PolishSelfTestTest, AMenuThatLacksSomethingFails) {
    const auto of = [](const std::vector<std::string>& titles) {
        return failuresOf([&](CheckList& checks) { checkMenu(checks, titles); });
    };
    const std::string shortcut = "Global shortcut: ⌃⌥⌘M";
    EXPECT_THAT(of({"Unmute", shortcut, "", "Settings…", "", "Quit Morvel"}), IsEmpty());
    EXPECT_THAT(of({"Mute", shortcut, "Debug", "Settings…", "Quit Morvel"}),
                ElementsAre("debug menu removed"));
    EXPECT_THAT(of({shortcut, "Settings…", "Quit Morvel"}),
                ElementsAre("mute is reachable from the menu"));
    EXPECT_THAT(of({"Mute", "Settings…", "Quit Morvel"}),
                ElementsAre("the global shortcut is discoverable in the menu"));
    EXPECT_THAT(of({"Mute", shortcut, "Settings…"}), ElementsAre("settings and quit remain"));
    EXPECT_THAT(of({"Mute", shortcut, "Quit Morvel"}), ElementsAre("settings and quit remain"));
    EXPECT_EQ(of({}).size(), 4U);
}

TEST_F(PolishSelfTestTest, ASwitchThatTheLaunchDoesNotLookAtFails) {
    const auto of = [](const std::vector<std::string>& switches) {
        return failuresOf([&](CheckList& checks) { checkHarnessSwitches(checks, switches); });
    };
    const std::vector<std::string> all = {"MORVEL_AUDIO_SELFTEST", "MORVEL_THEME_SELFTEST",
                                          "MORVEL_SETTINGS_SELFTEST"};
    EXPECT_THAT(of(all), IsEmpty());
    for (const std::string& missing : all) {
        auto rest = all;
        std::erase(rest, missing);
        EXPECT_THAT(of(rest), ElementsAre("env-gated harness switches still present"));
    }
}

TEST_F(PolishSelfTestTest, WhereTheUserHasMutedItTheLossOfTrustIsTestedUnheard) {
    writeText(settingsFile, R"({"master.muted": true})");
    variables["MORVEL_POLISH_SELFTEST"] = "1";
    variables["MORVEL_SIMULATE_REVOKE_AFTER_SECONDS"] = "2";
    launch();
    time.advance(0.1);
    EXPECT_EQ(engine.loopCategory(), SoundCategory::dialLoop);
    EXPECT_EQ(engine.submixOutputVolume(), 0.0F);
    awaitEnd("POLISHTEST");
    EXPECT_THAT(failures(), IsEmpty());
    EXPECT_TRUE(engine.isMuted());
}

TEST_F(PolishSelfTestTest, TrustThatNeverReturnsFails) {
    variables["MORVEL_SIMULATE_UNTRUSTED_SECONDS"] = "2";
    trust.trusted = false;
    run();
    EXPECT_THAT(failures(), ElementsAre("trust restored and observed live",
                                        "input modules restarted once trust returned"));
    EXPECT_THAT(linesOf("POLISHTEST observed"), IsEmpty());
}

TEST_F(PolishSelfTestTest, AStartWithTrustAndASilentDrawerFail) {
    variables["MORVEL_SIMULATE_UNTRUSTED_SECONDS"] = "0";
    beforeLaunch = [this] {
        QObject::connect(&themes, &ThemeController::activeThemeIDChanged, &themes,
                         [this] { engine.setResolver(nullptr); });
    };
    run();
    EXPECT_THAT(failures(), ElementsAre("started untrusted under simulation",
                                        "input modules stopped while untrusted",
                                        "fidget drawer still works without permission",
                                        "trust restored and observed live"));
}

TEST_F(PolishSelfTestTest, ARevocationThatIsNotNoticedFails) {
    variables["MORVEL_SIMULATE_REVOKE_AFTER_SECONDS"] = "100";
    run();
    EXPECT_THAT(failures(), ElementsAre("revocation observed live without user action",
                                        "input modules stopped on revocation",
                                        "sounding loop torn down rather than left hanging",
                                        "permission window re-prompted on revocation"));
    EXPECT_EQ(engine.loopCategory(), std::nullopt);
}

TEST_F(PolishSelfTestTest, AWindowThatDoesNotComeAndAnEngineThatIsLostFail) {
    variables["MORVEL_SIMULATE_REVOKE_AFTER_SECONDS"] = "2";
    window.canShow = false;
    beforeLaunch = [this] {
        QObject::connect(&*permission, &AccessibilityPermission::isTrustedChanged, &*permission,
                         [this] { output.lose("no server"); });
    };
    run();
    EXPECT_THAT(failures(), ElementsAre("permission window re-prompted on revocation",
                                        "audio engine still running after revocation"));
}

TEST_F(PolishSelfTestTest, AStartWithoutTrustOrToysFails) {
    variables["MORVEL_SIMULATE_REVOKE_AFTER_SECONDS"] = "2";
    trust.trusted = false;
    std::filesystem::remove_all(builtIn);
    makeMinimalTheme(builtIn, "mechanical");
    run();
    EXPECT_THAT(failures(), ElementsAre("started trusted, before the simulated revocation",
                                        "input modules running while trusted",
                                        "revocation observed live without user action",
                                        "input modules stopped on revocation",
                                        "sounding loop torn down rather than left hanging",
                                        "permission window re-prompted on revocation",
                                        "fidget drawer still has samples to play"));
}

TEST_F(PolishSelfTestTest, AWindowThatWasOpenBeforeTheLossIsNoPromptOfIt) {
    variables["MORVEL_SIMULATE_REVOKE_AFTER_SECONDS"] = "2";
    QWindow open;
    open.setTitle(QStringLiteral("Morvel"));
    open.show();
    run();
    EXPECT_THAT(failures(), ElementsAre("permission window re-prompted on revocation"));
}

TEST_F(PolishSelfTestTest, ALoopThatNeverStartedIsNotTornDown) {
    variables["MORVEL_SIMULATE_REVOKE_AFTER_SECONDS"] = "2";
    writeText(settingsFile, R"({"theme.id": "silent"})");
    makeMinimalTheme(builtIn, "silent");
    std::filesystem::remove_all(builtIn / "default");
    run();
    EXPECT_THAT(failures(), ElementsAre("sounding loop torn down rather than left hanging",
                                        "fidget drawer still has samples to play"));
}

TEST_F(PolishSelfTestTest, AMonitorThatDoesNotPollFails) {
    variables["MORVEL_POLISH_SELFTEST"] = "1";
    beforeLaunch = [this] { time.async([this] { permission->stopMonitoring(); }); };
    launch();
    awaitEnd("POLISHTEST");
    EXPECT_THAT(failures(), ElementsAre("revocation wiring present"));
}

TEST_F(PolishSelfTestTest, EndingTheProgramInBetweenIsHarmless) {
    variables["MORVEL_POLISH_SELFTEST"] = "1";
    variables["MORVEL_SIMULATE_REVOKE_AFTER_SECONDS"] = "2";
    launch();
    delegate->applicationWillTerminate();
    time.advance(2);
    selfTests.reset();
    time.advance(10);
    EXPECT_THAT(linesOf("POLISHTEST complete"), IsEmpty());
}

} // namespace
} // namespace morvel::test
