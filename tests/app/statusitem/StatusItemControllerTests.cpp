#include "app/settings/JsonDefaultsStore.h"
#include "app/statusitem/StatusItemController.h"
#include "platform/simulated/SimulatedHotKeyService.h"
#include "platform/simulated/SimulatedLoginItem.h"
#include "platform/simulated/SimulatedStatusBar.h"
#include "tests/app/statusitem/SimulatedPopover.h"
#include "tests/audio/EngineFixture.h"
#include "tests/audio/Signals.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace morvel {
namespace {

using Lines = std::vector<std::string>;

const std::string soundingToolTip =
    "Morvel — click for the fidget drawer, right-click for settings";
const std::string mutedToolTip = "Morvel — muted (⌃⌥⌘M to unmute)";

class StatusItemControllerTest : public test::EngineTest {
protected:
    StatusItemControllerTest() {
        build();
        theme->set(SoundCategory::dialLoop, test::constant(0.5F, 1000));
        theme->set(SoundCategory::pop, test::constant(0.5F, 1000));
        store_.emplace(folder_ / "settings.json", time, log);
        login_.emplace(loginItem_, ApplicationBundle{}, InstallationPaths{}, log);
        settings_.emplace(*store_, *engine, *login_, log);
        log.clear();
    }

    StatusItemController& start() {
        controller_.reset();
        controller_.emplace(StatusItemController::Services{
            bar_, *settings_, *engine, time, time, hotKeys_, log,
            [this] {
                ++popoversMade_;
                return std::make_unique<test::SimulatedPopover>(popover_);
            },
            [this] { ++settingsShown_; }, [this] { ++terminations_; }});
        return *controller_;
    }

    void expectSounding() {
        EXPECT_EQ(bar_.shown.symbolName, "dial.medium.fill");
        EXPECT_EQ(controller_->currentIconSymbolName(), "dial.medium.fill");
        EXPECT_EQ(bar_.shown.accessibilityDescription, "Morvel — sounding");
        EXPECT_EQ(bar_.shown.toolTip, soundingToolTip);
        EXPECT_EQ(bar_.shown.menu.at(0).title, "Mute");
        EXPECT_FALSE(bar_.shown.menu.at(0).checked);
    }
    void expectMuted() {
        EXPECT_EQ(bar_.shown.symbolName, "dial.medium");
        EXPECT_EQ(controller_->currentIconSymbolName(), "dial.medium");
        EXPECT_EQ(bar_.shown.accessibilityDescription, "Morvel — muted");
        EXPECT_EQ(bar_.shown.toolTip, mutedToolTip);
        EXPECT_EQ(bar_.shown.menu.at(0).title, "Unmute");
        EXPECT_TRUE(bar_.shown.menu.at(0).checked);
    }

    TemporaryFolder folder_;
    SimulatedLoginItem loginItem_;
    SimulatedStatusBar bar_;
    SimulatedHotKeyService hotKeyService_;
    GlobalHotKeyRegistry hotKeys_{hotKeyService_, time, log};
    std::optional<JsonDefaultsStore> store_;
    std::optional<LaunchAtLogin> login_;
    std::optional<AppSettings> settings_;
    test::SimulatedPopover::State popover_;
    std::optional<StatusItemController> controller_;
    int popoversMade_ = 0;
    int settingsShown_ = 0;
    int terminations_ = 0;
};

TEST_F(StatusItemControllerTest, AFreshControllersMenuHasItsTitlesInOrder) {
    EXPECT_EQ(start().currentMenuTitles(),
              (Lines{"Mute", "Global shortcut: ⌃⌥⌘M", "", "Settings…", "", "Quit Morvel"}));
}

TEST_F(StatusItemControllerTest, TheShortcutLineIsInformationAndTheOthersCanBeChosen) {
    start();
    const auto& menu = bar_.shown.menu;
    ASSERT_EQ(menu.size(), 6u);
    EXPECT_FALSE(menu[1].enabled);
    EXPECT_FALSE(menu[1].action);
    for (const std::size_t item : {0, 3, 5})
        EXPECT_TRUE(menu[item].enabled && menu[item].action) << item;
    EXPECT_TRUE(menu[2].isSeparator() && menu[4].isSeparator());
    EXPECT_EQ(menu[3].keyEquivalent, ",");
    EXPECT_EQ(menu[5].keyEquivalent, "q");
}

TEST_F(StatusItemControllerTest, APlainClickOpensTheDrawerUnderTheItem) {
    start();
    bar_.click();
    EXPECT_TRUE(popover_.shown);
    EXPECT_EQ(popover_.anchor, QRect(600, 4, 24, 24));
    EXPECT_EQ(bar_.shown.menusOpened, 0);
}

TEST_F(StatusItemControllerTest, ARightClickOpensTheMenu) {
    start();
    bar_.click({.secondary = true});
    EXPECT_EQ(bar_.shown.menusOpened, 1);
    EXPECT_FALSE(popover_.shown);
}

TEST_F(StatusItemControllerTest, AClickWithOptionOpensTheMenu) {
    start();
    bar_.click({.optionHeld = true});
    EXPECT_EQ(bar_.shown.menusOpened, 1);
    EXPECT_FALSE(popover_.shown);
}

TEST_F(StatusItemControllerTest, AfterTheMenuAPlainClickOpensTheDrawerAgain) {
    start();
    bar_.click({.secondary = true});
    bar_.click();
    EXPECT_TRUE(popover_.shown);
    EXPECT_EQ(bar_.shown.menusOpened, 1);
}

TEST_F(StatusItemControllerTest, AnUnknownClickOpensTheDrawer) {
    start().statusItemClicked(std::nullopt);
    EXPECT_TRUE(popover_.shown);
}

TEST_F(StatusItemControllerTest, AClickWhileTheDrawerIsOpenClosesItAndDoesNotReopenIt) {
    start();
    bar_.click();
    bar_.click(); // the popover still thinks that it is shown
    EXPECT_EQ(popover_.closeRequests, 1);
    popover_.finishClosing();
    EXPECT_EQ(popover_.openings, 1);

    time.advance(1);
    bar_.click();
    popover_.finishClosing(); // by the press of the next click, before it arrives
    time.advance(0.05);
    bar_.click();
    EXPECT_EQ(popover_.openings, 2);
    EXPECT_FALSE(popover_.shown);
}

TEST_F(StatusItemControllerTest, AClickWithinAQuarterOfASecondOfClosingIsIgnoredAndALaterOneIsNot) {
    StatusItemController& controller = start();
    EXPECT_EQ(controller.lastPopoverCloseTime(), 0);
    bar_.click();
    popover_.finishClosing();
    EXPECT_EQ(controller.lastPopoverCloseTime(), time.now());
    time.advance(0.24);
    bar_.click();
    EXPECT_FALSE(popover_.shown);
    time.advance(0.02);
    bar_.click();
    EXPECT_TRUE(popover_.shown);
}

TEST_F(StatusItemControllerTest, ThePopoverIsMadeOnceAtCreation) {
    start();
    EXPECT_EQ(popoversMade_, 1);
    bar_.click();
    EXPECT_EQ(popoversMade_, 1);
}

TEST_F(StatusItemControllerTest, MutingByTheMenuChangesIconTooltipAndMenu) {
    start();
    time.runPending();
    expectSounding();
    bar_.choose(0);
    time.runPending();
    expectMuted();
    EXPECT_TRUE(engine->isMuted());
    bar_.choose(0);
    time.runPending();
    expectSounding();
    EXPECT_FALSE(engine->isMuted());
}

TEST_F(StatusItemControllerTest, MutingByTheHotKeyChangesIconTooltipAndMenu) {
    start();
    EXPECT_EQ(hotKeyService_.press(HotKeyIdentifier{GlobalHotKeyRegistry::signature, 1}), 0);
    time.runPending();
    expectMuted();
    EXPECT_EQ(hotKeyService_.press(HotKeyIdentifier{GlobalHotKeyRegistry::signature, 1}), 0);
    time.runPending();
    expectSounding();
}

TEST_F(StatusItemControllerTest, MutingInTheSettingsChangesIconTooltipAndMenu) {
    start();
    settings_->setMuted(true);
    time.runPending();
    expectMuted();
    settings_->setMuted(false);
    time.runPending();
    expectSounding();
}

TEST_F(StatusItemControllerTest, AControllerOfMutedSettingsStartsMuted) {
    settings_->setMuted(true);
    start();
    expectMuted();
}

TEST_F(StatusItemControllerTest, TheIconFollowsInALaterTurnOfTheMainRunLoop) {
    start();
    time.runPending();
    settings_->setMuted(true);
    expectSounding();
    time.runPending();
    expectMuted();
}

TEST_F(StatusItemControllerTest, TogglingMuteIsLoggedAndKept) {
    start().toggleMute();
    controller_->toggleMute();
    EXPECT_EQ(log.lines(),
              (Lines{"[Morvel] Hotkey ⌃⌥⌘M registered", "[Morvel] Mute toggled -> MUTED",
                     "[Morvel] Mute toggled -> SOUNDING"}));
    EXPECT_FALSE(store_->boolForKey("master.muted"));
}

TEST_F(StatusItemControllerTest, ClosingTheDrawerWhileTheDialSpinsStopsItsLoopWithAShortFade) {
    start();
    bar_.click();
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    ASSERT_EQ(engine->loopCategory(), SoundCategory::dialLoop);
    popover_.finishClosing();
    EXPECT_GT(engine->loopVolume(), 0);
    time.advance(0.2);
    EXPECT_EQ(engine->loopCategory(), std::nullopt);
}

TEST_F(StatusItemControllerTest, ClosingTheDrawerWhileAnotherLoopOrNonePlaysChangesNothing) {
    start();
    bar_.click();
    popover_.finishClosing();
    EXPECT_EQ(engine->loopCategory(), std::nullopt);
    engine->startLoop(SoundCategory::pop, 1, 1);
    time.advance(1);
    bar_.click();
    popover_.finishClosing();
    time.advance(0.2);
    EXPECT_EQ(engine->loopCategory(), SoundCategory::pop);
}

TEST_F(StatusItemControllerTest, SettingsAndQuitAreHandedOn) {
    start();
    bar_.choose(3);
    EXPECT_EQ(settingsShown_, 1);
    bar_.choose(5);
    EXPECT_EQ(terminations_, 1);
}

TEST_F(StatusItemControllerTest, WithoutAButtonThereIsNoIconAndNoDrawerButTheMenuMutes) {
    bar_.hasButton = false;
    StatusItemController& controller = start();
    time.runPending();
    EXPECT_EQ(bar_.shown.symbolName, "");
    EXPECT_EQ(controller.currentIconSymbolName(), std::nullopt);
    bar_.click();
    controller.togglePopover();
    EXPECT_FALSE(popover_.shown);
    bar_.choose(0);
    EXPECT_TRUE(settings_->isMuted());
}

TEST_F(StatusItemControllerTest, AHotKeyThatIsRefusedLeavesTheMenuAsItIs) {
    hotKeyService_.registrationStatus = eventHotKeyExistsErr;
    StatusItemController& controller = start();
    EXPECT_EQ(controller.currentMenuTitles().at(1), "Global shortcut: ⌃⌥⌘M");
    bar_.choose(0);
    EXPECT_TRUE(settings_->isMuted());
    controller_.reset();
    EXPECT_EQ(hotKeys_.size(), 0u);
}

TEST_F(StatusItemControllerTest, AControllerThatGoesTakesItemAndHotKeyWithIt) {
    start();
    settings_->setMuted(true); // what is queued finds nobody
    EXPECT_EQ(hotKeyService_.registered.size(), 1u);
    controller_.reset();
    EXPECT_FALSE(bar_.shown.exists);
    EXPECT_TRUE(hotKeyService_.registered.empty());
    EXPECT_EQ(hotKeys_.size(), 0u);
    time.runPending();
    settings_->setMuted(false);
    time.runPending();
}

TEST_F(StatusItemControllerTest, WithoutATrayTheDrawerIsANormalWindow) {
    bar_.inBar = false;
    StatusItemController& controller = start();
    controller.openDrawer();
    EXPECT_TRUE(popover_.shown && popover_.asWindow);
    controller.openDrawer();
    EXPECT_EQ(popover_.broughtToFront, 1);
    popover_.finishClosing();
    time.advance(1);
    controller.togglePopover();
    EXPECT_TRUE(popover_.shown && popover_.asWindow);
}

TEST_F(StatusItemControllerTest, ASecondStartOpensTheDrawerUnderTheItemWhenThereIsATray) {
    StatusItemController& controller = start();
    controller.openDrawer();
    EXPECT_TRUE(popover_.shown && !popover_.asWindow);
    controller.openDrawer();
    EXPECT_TRUE(popover_.shown);
    EXPECT_EQ(popover_.openings, 1);
}

TEST_F(StatusItemControllerTest, ASecondStartWhileTheDrawerClosesOpensItAgain) {
    StatusItemController& controller = start();
    controller.togglePopover();
    controller.togglePopover();
    EXPECT_TRUE(popover_.closing);
    controller.openDrawer();
    EXPECT_FALSE(popover_.closing);
    EXPECT_EQ(popover_.openings, 2);
}

TEST_F(StatusItemControllerTest, ATrayThatAppearsGetsTheStateOfTheMoment) {
    bar_.inBar = false;
    start();
    settings_->setMuted(true);
    time.runPending();
    bar_.shown.symbolName.clear();
    bar_.setPresent(true);
    expectMuted();
    bar_.click();
    EXPECT_TRUE(popover_.shown && !popover_.asWindow);
}

TEST_F(StatusItemControllerTest, AnItemWithoutAKnownPlaceOpensTheDrawerWithoutAnAnchor) {
    bar_.frame.reset();
    start();
    bar_.click();
    EXPECT_TRUE(popover_.shown);
    EXPECT_EQ(popover_.anchor, std::nullopt);
}

} // namespace
} // namespace morvel
