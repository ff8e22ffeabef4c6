#include "app/AppDelegate.h"
#include "app/settings/JsonDefaultsStore.h"
#include "platform/simulated/SimulatedApplicationActivation.h"
#include "platform/simulated/SimulatedHotKeyService.h"
#include "platform/simulated/SimulatedKeyTap.h"
#include "platform/simulated/SimulatedLoginItem.h"
#include "platform/simulated/SimulatedProcessTable.h"
#include "platform/simulated/SimulatedStatusBar.h"
#include "platform/simulated/SimulatedTrustSource.h"
#include "tests/app/statusitem/SimulatedPopover.h"
#include "tests/audio/EngineFixture.h"
#include "tests/audio/Signals.h"
#include "tests/themes/ThemeFolder.h"

#include <gmock/gmock.h>

#include <map>

namespace morvel {
namespace {

class SimulatedPermissionWindow : public PermissionWindow {
public:
    void show(AccessibilityPermission&) override {
        ++shows;
        open = true;
    }
    void close() override { open = false; }

    int shows = 0;
    bool open = false;
};

// Where each of the lines stands in the log; -1 for one that is not there.
std::vector<int> places(const SimulatedLog& log, const std::vector<std::string>& parts) {
    std::vector<int> result;
    const auto lines = log.lines();
    for (const std::string& part : parts) {
        const auto found = std::ranges::find_if(
            lines, [&](const std::string& line) { return line.find(part) != std::string::npos; });
        result.push_back(found == lines.end() ? -1 : static_cast<int>(found - lines.begin()));
    }
    return result;
}

class AppDelegateTest : public test::EngineTest {
protected:
    AppDelegateTest() {
        build();
        theme->set(SoundCategory::dialLoop, test::constant(0.5F, 1000));
        makeMinimalTheme(builtIn_, "default");
        makeMinimalTheme(builtIn_, "mechanical");
    }

    // Launches and lets the first turns of the main run loop pass.
    void launch(bool trusted = true) {
        trust_.trusted = trusted;
        create();
        delegate_->applicationDidFinishLaunching();
        time.advance(0);
    }
    void create() {
        const Environment environment = [this](const std::string& name) {
            const auto found = variables_.find(name);
            return found == variables_.end() ? std::nullopt : std::optional(found->second);
        };
        settings_.emplace(store_, *engine, login_, log);
        permission_.emplace(
            AccessibilityPermission::Services{trust_, processes_, time, time, activation_, log},
            ApplicationBundle{}, environment);
        keyboard_.emplace(
            KeyboardEngine::Services{tap_, *settings_, *permission_, *engine, time, log}, false);
        themes_.emplace(ThemeController::Services{catalog_, *engine, random, log});
        delegate_.emplace(AppDelegate::Services{activation_, *settings_, *permission_, window_,
                                                catalog_, *themes_, *engine, *keyboard_, time, log,
                                                [this] { return makeStatusItem(); }, testModes_},
                          environment);
    }
    std::unique_ptr<StatusItemController> makeStatusItem() {
        wasAccessoryBefore_ = activation_.isAccessory;
        hadThemesFolderBefore_ = std::filesystem::is_directory(folder_.path() / "User" / "Themes");
        hadThemeBefore_ = themes_->activeTheme() != nullptr;
        wasMonitoringBefore_ = activation_.observerCount() > 0;
        return std::make_unique<StatusItemController>(StatusItemController::Services{
            bar_, *settings_, *engine, time, time, hotKeys_, log,
            [this] { return std::make_unique<test::SimulatedPopover>(popover_); }, [] {}, [] {}});
    }
    // Lets the poll see what changed, and no more.
    void setTrusted(bool trusted) {
        trust_.trusted = trusted;
        for (int i = 0; i < 210 && permission_->isTrusted() != trusted; ++i)
            time.advance(0.01);
        time.advance(0);
    }
    void persist(const std::string& themeID) { store_.setString("theme.id", themeID); }

    TemporaryFolder folder_;
    std::filesystem::path builtIn_ = folder_.path() / "Sounds";
    std::map<std::string, std::string> variables_;
    JsonDefaultsStore store_{folder_.path() / "settings.json", time, log};
    SimulatedLoginItem loginItem_;
    LaunchAtLogin login_{loginItem_, ApplicationBundle{}, InstallationPaths{}, log};
    SimulatedTrustSource trust_{true};
    SimulatedProcessTable processes_{1, {}};
    SimulatedApplicationActivation activation_;
    SimulatedKeyTap tap_;
    SimulatedPermissionWindow window_;
    SimulatedStatusBar bar_;
    SimulatedHotKeyService hotKeyService_;
    GlobalHotKeyRegistry hotKeys_{hotKeyService_, time, log};
    test::SimulatedPopover::State popover_;
    ThemeCatalog catalog_{builtIn_, folder_.path() / "User" / "Themes", log};
    std::optional<AppSettings> settings_;
    std::optional<AccessibilityPermission> permission_;
    std::optional<KeyboardEngine> keyboard_;
    std::optional<ThemeController> themes_;
    std::optional<AppDelegate> delegate_;
    std::vector<AppDelegate::TestMode> testModes_;
    // When the status item was made.
    bool wasAccessoryBefore_ = false;
    bool hadThemesFolderBefore_ = false;
    bool hadThemeBefore_ = false;
    bool wasMonitoringBefore_ = true;
};

TEST_F(AppDelegateTest, TheLaunchHappensInItsOrder) {
    launch();
    EXPECT_TRUE(wasAccessoryBefore_);
    EXPECT_TRUE(hadThemesFolderBefore_);
    EXPECT_TRUE(hadThemeBefore_);
    EXPECT_FALSE(wasMonitoringBefore_);
    const auto found =
        places(log, {"Theme catalogue: 2 available", "Active theme is now 'mechanical'",
                     "Hotkey ⌃⌥⌘M registered", "Accessibility trust identity",
                     "onboarding gate: trusted=true force=false", "event tap installed"});
    EXPECT_THAT(found, testing::Not(testing::Contains(-1)));
    EXPECT_TRUE(std::ranges::is_sorted(found));
    EXPECT_TRUE(bar_.shown.exists);
    EXPECT_TRUE(tap_.installed());
    EXPECT_EQ(tap_.installations, 1);
    EXPECT_EQ(window_.shows, 0);
}

TEST_F(AppDelegateTest, AStoredMuteHoldsBeforeAnySoundCanPlay) {
    store_.setBool("master.muted", true);
    launch();
    EXPECT_EQ(engine->submixOutputVolume(), 0.0F);
}

TEST_F(AppDelegateTest, AThemeThatIsNotInstalledFallsBackToMechanicalForGood) {
    persist("gone");
    launch();
    EXPECT_TRUE(logged("Theme 'gone' unavailable; fell back to 'mechanical'"));
    EXPECT_EQ(lineCount("fell back"), 1U);
    EXPECT_EQ(settings_->themeID(), "mechanical");
    EXPECT_EQ(store_.stringForKey("theme.id"), "mechanical");
    EXPECT_EQ(themes_->activeThemeID(), "mechanical");
}

TEST_F(AppDelegateTest, WithoutMechanicalItFallsBackToDefault) {
    persist("gone");
    std::filesystem::remove_all(builtIn_ / "mechanical");
    launch();
    EXPECT_TRUE(logged("Theme 'gone' unavailable; fell back to 'default'"));
    EXPECT_EQ(lineCount("fell back"), 1U);
    EXPECT_EQ(store_.stringForKey("theme.id"), "default");
}

TEST_F(AppDelegateTest, AThemeThatLoadsIsNoFallback) {
    persist("default");
    launch();
    EXPECT_EQ(lineCount("fell back"), 0U);
    EXPECT_EQ(themes_->activeThemeID(), "default");
}

TEST_F(AppDelegateTest, WithoutAnyThemeItIsSilentAndRuns) {
    std::filesystem::remove_all(builtIn_);
    launch();
    EXPECT_TRUE(logged("No theme could be loaded. Morvel will be silent."));
    EXPECT_EQ(lineCount("fell back"), 0U);
    EXPECT_TRUE(bar_.shown.exists);
    EXPECT_TRUE(tap_.installed());
}

TEST_F(AppDelegateTest, WithoutTrustTheGateShowsTheWindowAndTheFirstDeliveryTellsOfARevocation) {
    launch(false);
    EXPECT_TRUE(logged("onboarding gate: trusted=false force=false"));
    EXPECT_EQ(lineCount("Accessibility revoked mid-session"), 1U);
    EXPECT_TRUE(window_.open);
    EXPECT_EQ(window_.shows, 2);
    EXPECT_FALSE(tap_.installed());
}

TEST_F(AppDelegateTest, AForcedWindowIsShownAndThenClosedByTheFirstDeliveryOfTrust) {
    variables_["MORVEL_FORCE_PERMISSION_WINDOW"] = "1";
    create();
    delegate_->applicationDidFinishLaunching();
    EXPECT_TRUE(logged("onboarding gate: trusted=true force=true"));
    EXPECT_TRUE(window_.open);
    time.advance(0);
    EXPECT_FALSE(window_.open);
    EXPECT_EQ(window_.shows, 1);
}

TEST_F(AppDelegateTest, OnlyTheValueOneForcesTheWindow) {
    variables_["MORVEL_FORCE_PERMISSION_WINDOW"] = "true";
    launch();
    EXPECT_TRUE(logged("onboarding gate: trusted=true force=false"));
    EXPECT_EQ(window_.shows, 0);
}

TEST_F(AppDelegateTest, GrantingTrustClosesTheWindowAndStartsTheKeyboard) {
    launch(false);
    setTrusted(true);
    EXPECT_FALSE(window_.open);
    EXPECT_TRUE(tap_.installed());
}

TEST_F(AppDelegateTest, RevokingTrustStopsTheKeyboardFadesTheLoopAndAsksAgain) {
    launch();
    engine->setResolver(theme);
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    listen(4410);
    setTrusted(false);
    EXPECT_EQ(lineCount("Accessibility revoked mid-session — stopping input modules and "
                        "re-prompting"),
              1U);
    EXPECT_FALSE(tap_.installed());
    EXPECT_TRUE(window_.open);
    EXPECT_EQ(engine->loopCategory(), std::nullopt);
    time.advance(0.05);
    EXPECT_GT(engine->loopVolume(), 0.3F);
    EXPECT_LT(engine->loopVolume(), 0.7F);
    time.advance(0.1);
    EXPECT_EQ(engine->loopVolume(), 0.0F);
}

TEST_F(AppDelegateTest, TrustThatComesAndGoesIsFollowedEachTime) {
    launch();
    for (int i = 0; i < 3; ++i) {
        setTrusted(false);
        EXPECT_FALSE(tap_.installed());
        EXPECT_TRUE(window_.open);
        setTrusted(true);
        EXPECT_TRUE(tap_.installed());
        EXPECT_FALSE(window_.open);
    }
    EXPECT_EQ(lineCount("Accessibility revoked mid-session"), 3U);
}

TEST_F(AppDelegateTest, TheDrawerSwitchOpensTheDrawerOnceHalfASecondAfterLaunch) {
    variables_["MORVEL_OPEN_DRAWER"] = "1";
    launch();
    time.advance(0.49);
    EXPECT_EQ(popover_.openings, 0);
    time.advance(0.02);
    EXPECT_EQ(popover_.openings, 1);
    time.advance(5);
    EXPECT_EQ(popover_.openings, 1);
}

TEST_F(AppDelegateTest, ADrawerThatIsOpenByThenStaysAsItIs) {
    variables_["MORVEL_OPEN_DRAWER"] = "1";
    launch();
    delegate_->statusItemController()->togglePopover();
    time.advance(1);
    EXPECT_EQ(popover_.openings, 1);
    EXPECT_EQ(popover_.closeRequests, 0);
}

TEST_F(AppDelegateTest, AnyOtherValueOfTheDrawerSwitchDoesNothing) {
    for (const char* value : {"true", "", "01", "yes"}) {
        variables_["MORVEL_OPEN_DRAWER"] = value;
        launch();
        time.advance(2);
        EXPECT_EQ(popover_.openings, 0) << value;
        delegate_->applicationWillTerminate();
        delegate_.reset();
    }
}

TEST_F(AppDelegateTest, TheDrawerTaskDoesNothingOnceTheItemIsGone) {
    variables_["MORVEL_OPEN_DRAWER"] = "1";
    launch();
    delegate_->applicationWillTerminate();
    time.advance(2);
    EXPECT_EQ(popover_.openings, 0);
}

TEST_F(AppDelegateTest, WithoutATestSwitchOnlyTheDrawerSwitchIsAsked) {
    int started = 0;
    testModes_ = {{"MORVEL_A", [&](AppDelegate&) { ++started; }},
                  {"MORVEL_B", [&](AppDelegate&) { ++started; }}};
    variables_["MORVEL_A"] = "true";
    variables_["MORVEL_OPEN_DRAWER"] = "1";
    launch();
    time.advance(1);
    EXPECT_EQ(started, 0);
    EXPECT_EQ(popover_.openings, 1);
}

TEST_F(AppDelegateTest, SeveralTestSwitchesStartInTheirOrderAtTheEndOfTheLaunch) {
    std::string order;
    const auto mode = [&](const std::string& name) {
        return AppDelegate::TestMode{"MORVEL_" + name, [&order, name, this](AppDelegate& delegate) {
                                         EXPECT_NE(delegate.statusItemController(), nullptr);
                                         EXPECT_TRUE(tap_.installed());
                                         order += name;
                                     }};
    };
    testModes_ = {mode("A"), mode("B"), mode("C")};
    variables_["MORVEL_C"] = "1";
    variables_["MORVEL_A"] = "1";
    launch();
    EXPECT_EQ(order, "AC");
    EXPECT_THAT(delegate_->testVariables(),
                testing::ElementsAre("MORVEL_A", "MORVEL_B", "MORVEL_C"));
}

TEST_F(AppDelegateTest, TerminationGivesEverythingBackInItsOrder) {
    launch();
    delegate_->applicationWillTerminate();
    EXPECT_FALSE(tap_.installed());
    EXPECT_EQ(activation_.observerCount(), 0U);
    EXPECT_EQ(delegate_->statusItemController(), nullptr);
    EXPECT_FALSE(bar_.shown.exists);
    EXPECT_TRUE(hotKeyService_.registered.empty());
    delegate_->applicationWillTerminate();
    EXPECT_EQ(tap_.removals, 1);
}

} // namespace
} // namespace morvel
