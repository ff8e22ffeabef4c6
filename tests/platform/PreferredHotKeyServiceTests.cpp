#include "platform/PreferredHotKeyService.h"
#include "platform/simulated/SimulatedHotKeyService.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/VirtualTime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace morvel {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using Way = HotKeyDelivery::Way;

constexpr HotKeyIdentifier mute{1, 7};

class PreferredHotKeyServiceTest : public testing::Test {
protected:
    PreferredHotKeyServiceTest() {
        portal.become({Way::asking, {}});
        evdev.become({Way::keyboards, {}});
        service.installHandler([this](const auto&) {
            ++presses;
            return hotKeyNoErr;
        });
    }
    HotKeyReference claim() { return service.registerHotKey(46, 6400, mute).value(); }

    VirtualTime time;
    SimulatedLog log;
    std::unique_ptr<SimulatedHotKeyService> ownedPortal =
        std::make_unique<SimulatedHotKeyService>();
    std::unique_ptr<SimulatedHotKeyService> ownedEvdev = std::make_unique<SimulatedHotKeyService>();
    SimulatedHotKeyService& portal = *ownedPortal;
    SimulatedHotKeyService& evdev = *ownedEvdev;
    PreferredHotKeyService service{std::move(ownedPortal), std::move(ownedEvdev), time, log};
    int presses = 0;
};

TEST_F(PreferredHotKeyServiceTest, WhatThePreferredOneGrantsTheOtherOneIsNotAskedFor) {
    claim();
    portal.become({Way::desktop, "F9"});
    time.advance(60);
    EXPECT_EQ(portal.registered.size(), 1u);
    EXPECT_TRUE(evdev.registered.empty());
    EXPECT_EQ(service.delivery(), (HotKeyDelivery{Way::desktop, "F9"}));
    portal.press(mute);
    EXPECT_EQ(presses, 1);
    EXPECT_THAT(log.lines(), ElementsAre(EndsWith("Hotkey presses: the desktop is being asked"),
                                         EndsWith("Hotkey presses: the desktop listens for F9")));
}

TEST_F(PreferredHotKeyServiceTest, WhatThePreferredOneRefusesTheOtherOneHasAtOnce) {
    claim();
    portal.become({Way::none, {}});
    ASSERT_EQ(evdev.registered.size(), 1u);
    EXPECT_EQ(evdev.registered.begin()->second.keyCode, 46u);
    EXPECT_EQ(evdev.registered.begin()->second.modifiers, 6400u);
    EXPECT_EQ(evdev.registered.begin()->second.identifier, mute);
    EXPECT_EQ(service.delivery().way, Way::keyboards);
    evdev.press(mute);
    EXPECT_EQ(presses, 1);
    EXPECT_THAT(log.lines().back(), EndsWith("Hotkey presses: looked for at the keyboards"));
}

TEST_F(PreferredHotKeyServiceTest, APreferredOneThatDoesNotAnswerIsWaitedForAWhile) {
    claim();
    time.advance(PreferredHotKeyService::patience - 0.1);
    EXPECT_TRUE(evdev.registered.empty());
    EXPECT_EQ(service.delivery().way, Way::asking);
    time.advance(0.2);
    EXPECT_EQ(evdev.registered.size(), 1u);
}

TEST_F(PreferredHotKeyServiceTest, ALateGrantTakesOverFromTheOtherOne) {
    claim();
    time.advance(60);
    ASSERT_EQ(evdev.registered.size(), 1u);
    portal.become({Way::desktop, {}});
    EXPECT_TRUE(evdev.registered.empty());
    EXPECT_EQ(service.delivery().way, Way::desktop);
    EXPECT_THAT(log.lines().back(), EndsWith("Hotkey presses: the desktop listens for them"));
}

TEST_F(PreferredHotKeyServiceTest, TheOtherOneHasItWhileThePreferredOneIsAway) {
    claim();
    portal.become({Way::desktop, {}});
    portal.become({Way::none, {}});
    EXPECT_EQ(evdev.registered.size(), 1u);
    portal.become({Way::asking, {}});
    EXPECT_EQ(evdev.registered.size(), 1u);
    EXPECT_EQ(service.delivery().way, Way::keyboards);
    portal.become({Way::desktop, {}});
    EXPECT_TRUE(evdev.registered.empty());
}

TEST_F(PreferredHotKeyServiceTest, WhileTheUserIsAskedTheOtherOneDoesNotListenHoweverLong) {
    claim();
    portal.become({Way::deciding, {}});
    time.advance(3600);
    EXPECT_TRUE(evdev.registered.empty());
    EXPECT_EQ(service.delivery().way, Way::deciding);
    EXPECT_THAT(log.lines().back(), EndsWith("Hotkey presses: the desktop asks its user"));
}

TEST_F(PreferredHotKeyServiceTest, AUserWhoIsAskedLateEndsTheOthersListening) {
    claim();
    time.advance(60);
    ASSERT_EQ(evdev.registered.size(), 1u);
    portal.become({Way::deciding, {}});
    EXPECT_TRUE(evdev.registered.empty());
    portal.become({Way::none, {}}); // no answer will come
    EXPECT_EQ(evdev.registered.size(), 1u);
}

TEST_F(PreferredHotKeyServiceTest, WhatTheUserDeclinesTheOtherOneDoesNotListenForEither) {
    claim();
    portal.become({Way::deciding, {}});
    portal.become({Way::declined, {}});
    time.advance(3600);
    EXPECT_TRUE(evdev.registered.empty());
    EXPECT_EQ(service.delivery().way, Way::declined);
    EXPECT_THAT(log.lines().back(), EndsWith("Hotkey presses: none, the user has declined"));
}

TEST_F(PreferredHotKeyServiceTest, APressThatBothHearAsTheyChangeOverIsOne) {
    claim();
    time.advance(60);
    evdev.press(mute);
    portal.become({Way::desktop, {}});
    time.advance(PreferredHotKeyService::samePress - 0.1);
    EXPECT_EQ(portal.press(mute), hotKeyNoErr);
    EXPECT_EQ(presses, 1);
    time.advance(0.2);
    portal.press(mute);
    portal.press(mute);
    EXPECT_EQ(presses, 3);
}

TEST_F(PreferredHotKeyServiceTest, WhereThePreferredOneCannotBeAskedTheOtherOneHasItAtOnce) {
    portal.registrationStatus = eventInternalErr;
    portal.become({Way::none, {}});
    EXPECT_TRUE(service.registerHotKey(46, 6400, mute));
    EXPECT_EQ(evdev.registered.size(), 1u);
}

TEST_F(PreferredHotKeyServiceTest, WhereNeitherCanItIsTheOtherOnesRefusalThatCounts) {
    portal.registrationStatus = eventInternalErr;
    evdev.registrationStatus = eventHotKeyInvalidErr;
    const auto refused = service.registerHotKey(3, 6400, mute);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error(), eventHotKeyInvalidErr);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(PreferredHotKeyServiceTest, WithNoWayAtAllAtPresentItSaysSo) {
    evdev.registrationStatus = eventInternalErr;
    evdev.become({Way::none, {}});
    claim();
    portal.become({Way::none, {}});
    EXPECT_EQ(service.delivery().way, Way::none);
    EXPECT_THAT(log.lines().back(), EndsWith("Hotkey presses: no way to hear them at present"));
}

TEST_F(PreferredHotKeyServiceTest, KeyboardsThatComeLaterAreAnnounced) {
    evdev.become({Way::none, {}});
    claim();
    portal.become({Way::none, {}});
    int told = 0;
    service.setDeliveryHandler([&told] { ++told; });
    evdev.become({Way::keyboards, {}});
    evdev.become({Way::keyboards, {}});
    EXPECT_EQ(told, 1);
}

TEST_F(PreferredHotKeyServiceTest, WhatIsGivenUpIsGivenUpWithBoth) {
    const HotKeyReference reference = claim();
    time.advance(60);
    service.unregisterHotKey(reference);
    EXPECT_TRUE(portal.registered.empty());
    EXPECT_TRUE(evdev.registered.empty());
    EXPECT_EQ(service.delivery().way, Way::none);
    portal.become({Way::none, {}});
    EXPECT_TRUE(evdev.registered.empty());
}

TEST_F(PreferredHotKeyServiceTest, AHandlerThatOneOfThemTakesIsTaken) {
    portal.handlerStatus = eventInternalErr;
    EXPECT_EQ(service.installHandler([](const auto&) { return hotKeyNoErr; }), hotKeyNoErr);
    evdev.handlerStatus = eventInternalErr;
    EXPECT_EQ(service.installHandler([](const auto&) { return hotKeyNoErr; }), eventInternalErr);
}

} // namespace
} // namespace morvel
