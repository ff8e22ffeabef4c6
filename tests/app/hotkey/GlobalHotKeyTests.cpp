#include "app/hotkey/GlobalHotKey.h"
#include "platform/simulated/SimulatedHotKeyService.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/VirtualTime.h"

#include <gtest/gtest.h>

namespace morvel {
namespace {

using Lines = std::vector<std::string>;

constexpr std::uint32_t muteKey = 46;
constexpr std::uint32_t muteModifiers = 6400;

class GlobalHotKeyTest : public testing::Test {
protected:
    std::shared_ptr<GlobalHotKey> create() {
        return GlobalHotKey::create(registry_, muteKey, muteModifiers, [this] { ++presses_; });
    }
    HotKeyStatus press(std::uint32_t id) {
        return service_.press(HotKeyIdentifier{GlobalHotKeyRegistry::signature, id});
    }

    SimulatedHotKeyService service_;
    VirtualTime time_;
    SimulatedLog log_;
    GlobalHotKeyRegistry registry_{service_, time_, log_};
    int presses_ = 0;
};

TEST_F(GlobalHotKeyTest, TheFirstHotKeyGetsIdOneAndTheNextIdTwo) {
    const auto first = create();
    const auto second = create();
    EXPECT_EQ(first->id(), 1u);
    EXPECT_EQ(second->id(), 2u);
}

TEST_F(GlobalHotKeyTest, AFailedRegistrationUsesItsIdUp) {
    service_.registrationStatus = eventHotKeyExistsErr;
    EXPECT_EQ(create(), nullptr);
    service_.registrationStatus = hotKeyNoErr;
    EXPECT_EQ(create()->id(), 2u);
}

TEST_F(GlobalHotKeyTest, RegistersKeyModifiersAndItsIdentifierWithTheSystem) {
    const auto hotKey = create();
    ASSERT_EQ(service_.registered.size(), 1u);
    const auto& registration = service_.registered.begin()->second;
    EXPECT_EQ(registration.keyCode, 46u);
    EXPECT_EQ(registration.modifiers, 0x1900u);
    EXPECT_EQ(registration.identifier, (HotKeyIdentifier{0x4D52564C, 1}));
    EXPECT_EQ(log_.lines(), Lines{"[Morvel] Hotkey ⌃⌥⌘M registered"});
}

TEST_F(GlobalHotKeyTest, APressRunsTheActionAtOnceOnTheMainThread) {
    const auto hotKey = create();
    EXPECT_EQ(press(1), hotKeyNoErr);
    EXPECT_EQ(presses_, 1);
}

TEST_F(GlobalHotKeyTest, APressOnAnotherThreadRunsTheActionInALaterTurnOfTheMainRunLoop) {
    const auto hotKey = create();
    HotKeyStatus status = eventNotHandledErr;
    std::thread([&] { status = press(1); }).join();
    EXPECT_EQ(status, hotKeyNoErr);
    EXPECT_EQ(presses_, 0);
    time_.runPending();
    EXPECT_EQ(presses_, 1);
}

TEST_F(GlobalHotKeyTest, AHotKeyGivenUpBeforeThatTurnDoesNothing) {
    auto hotKey = create();
    std::thread([&] { press(1); }).join();
    registry_.remove(1);
    hotKey.reset();
    time_.runPending();
    EXPECT_EQ(presses_, 0);
}

TEST_F(GlobalHotKeyTest, AnotherSignatureIsAnsweredWithEventNotHandled) {
    const auto hotKey = create();
    EXPECT_EQ(service_.press(HotKeyIdentifier{0x4D52564D, 1}), -9874);
    EXPECT_EQ(presses_, 0);
}

TEST_F(GlobalHotKeyTest, AnUnknownIdIsAnsweredWithEventNotHandled) {
    const auto hotKey = create();
    EXPECT_EQ(press(2), -9874);
    EXPECT_EQ(presses_, 0);
}

TEST_F(GlobalHotKeyTest, APressWithoutAnIdentifierIsAnsweredWithEventNotHandled) {
    const auto hotKey = create();
    EXPECT_EQ(service_.press(std::nullopt), -9874);
    EXPECT_EQ(presses_, 0);
}

TEST_F(GlobalHotKeyTest, AFailedRegistrationLeavesNothingInTheRegistryAndLogsTheStatus) {
    service_.registrationStatus = eventHotKeyExistsErr;
    EXPECT_EQ(create(), nullptr);
    EXPECT_EQ(registry_.size(), 0u);
    EXPECT_EQ(log_.lines(),
              Lines{"[Morvel] Hotkey ⌃⌥⌘M could not be registered (OSStatus -9878) — another app "
                    "may already own it"});
}

TEST_F(GlobalHotKeyTest, OneHandlerIsInstalledForAllHotKeys) {
    const auto first = create();
    const auto second = create();
    EXPECT_EQ(service_.installations, 1);
}

TEST_F(GlobalHotKeyTest, AHandlerThatCannotBeInstalledIsLoggedAndTriedAgainByTheNextHotKey) {
    service_.handlerStatus = eventInternalErr;
    const auto first = create();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(log_.lines(),
              (Lines{"[Morvel] Could not install hotkey event handler (OSStatus -9868)",
                     "[Morvel] Hotkey ⌃⌥⌘M registered"}));
    EXPECT_EQ(press(1), eventNotHandledErr);
    service_.handlerStatus = hotKeyNoErr;
    const auto second = create();
    EXPECT_EQ(service_.installations, 2);
    EXPECT_EQ(press(1), hotKeyNoErr);
}

TEST_F(GlobalHotKeyTest, TheRegistryKeepsAHotKeyThatNobodyElseHolds) {
    create();
    EXPECT_EQ(registry_.size(), 1u);
    EXPECT_EQ(press(1), hotKeyNoErr);
    EXPECT_EQ(presses_, 1);
}

TEST_F(GlobalHotKeyTest, GivingUpUnregistersAndTakesItOutOfTheRegistry) {
    auto hotKey = create();
    hotKey->unregister();
    EXPECT_TRUE(service_.registered.empty());
    registry_.remove(hotKey->id());
    EXPECT_EQ(registry_.size(), 0u);
    EXPECT_EQ(press(1), eventNotHandledErr);
}

TEST_F(GlobalHotKeyTest, TheLastHolderToGoUnregistersIt) {
    create();
    registry_.remove(1);
    EXPECT_TRUE(service_.registered.empty());
}

TEST_F(GlobalHotKeyTest, ARegistryThatGoesUnregistersWhatItHolds) {
    {
        GlobalHotKeyRegistry registry(service_, time_, log_);
        GlobalHotKey::create(registry, 17, commandModifier, [] {});
        EXPECT_EQ(service_.registered.size(), 1u);
    }
    EXPECT_TRUE(service_.registered.empty());
}

TEST_F(GlobalHotKeyTest, RunningOutOfIdsIsFatal) {
    GlobalHotKeyRegistry registry(service_, time_, log_, 0xFFFFFFFF);
    EXPECT_DEATH(GlobalHotKey::create(registry, 46, 6400, [] {}), "");
}

TEST(GlobalHotKey, ShowsItsModifiersInAFixedOrderAndThreeKeysByName) {
    EXPECT_EQ(GlobalHotKey::displayString(46, 6400), "⌃⌥⌘M");
    EXPECT_EQ(GlobalHotKey::displayString(49, shiftModifier | commandModifier), "⇧⌘Space");
    EXPECT_EQ(GlobalHotKey::displayString(17, 0x1B00), "⌃⌥⇧⌘T");
    EXPECT_EQ(GlobalHotKey::displayString(0, 0), "?");
}

} // namespace
} // namespace morvel
