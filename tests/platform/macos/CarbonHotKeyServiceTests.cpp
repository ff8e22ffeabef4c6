#include "app/hotkey/GlobalHotKey.h"
#include "platform/macos/CarbonHotKeyService.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/VirtualTime.h"
#include "tests/platform/macos/FakeMac.h"

namespace morvel {
namespace {

using Lines = std::vector<std::string>;

constexpr std::uint32_t signature = 0x4D52564C;

class CarbonHotKeyServiceTest : public MacTest {
protected:
    std::shared_ptr<GlobalHotKey> create() {
        return GlobalHotKey::create(*registry_, 46, 0x1900, [this] { ++presses_; });
    }

    VirtualTime time_;
    SimulatedLog log_;
    std::unique_ptr<CarbonHotKeyService> service_ = std::make_unique<CarbonHotKeyService>();
    std::unique_ptr<GlobalHotKeyRegistry> registry_ =
        std::make_unique<GlobalHotKeyRegistry>(*service_, time_, log_);
    int presses_ = 0;
};

TEST_F(CarbonHotKeyServiceTest, RegistersKeyModifiersAndIdentifier) {
    const auto hotKey = create();
    ASSERT_NE(hotKey, nullptr);
    ASSERT_EQ(mac_.hotKeys.size(), 1U);
    EXPECT_EQ(mac_.hotKeys.begin()->second, (FakeMac::HotKey{46, 0x1900, signature, 1}));
}

TEST_F(CarbonHotKeyServiceTest, APressRunsTheActionAtOnce) {
    const auto hotKey = create();
    EXPECT_EQ(mac_.press(EventHotKeyID{signature, 1}), 0);
    EXPECT_EQ(presses_, 1);
}

TEST_F(CarbonHotKeyServiceTest, APressWithAForeignSignatureIsNotHandled) {
    const auto hotKey = create();
    EXPECT_EQ(mac_.press(EventHotKeyID{0x4D52564D, 1}), -9874);
    EXPECT_EQ(presses_, 0);
}

TEST_F(CarbonHotKeyServiceTest, APressWithAnUnknownIdIsNotHandled) {
    const auto hotKey = create();
    EXPECT_EQ(mac_.press(EventHotKeyID{signature, 2}), -9874);
    EXPECT_EQ(presses_, 0);
}

TEST_F(CarbonHotKeyServiceTest, APressWithoutAnIdentifierIsNotHandled) {
    const auto hotKey = create();
    EXPECT_EQ(mac_.press(std::nullopt), -9874);
    EXPECT_EQ(presses_, 0);
}

TEST_F(CarbonHotKeyServiceTest, ARefusedRegistrationLogsItsStatusAndLeavesNothingBehind) {
    mac_.registrationStatus = -9878;
    EXPECT_EQ(create(), nullptr);
    EXPECT_EQ(registry_->size(), 0U);
    EXPECT_TRUE(mac_.hotKeys.empty());
    EXPECT_EQ(log_.lines(), Lines{"[Morvel] Hotkey ⌃⌥⌘M could not be registered (OSStatus -9878) "
                                  "— another app may already own it"});
}

TEST_F(CarbonHotKeyServiceTest, ASuccessThatNamesNoRegistrationIsARefusal) {
    mac_.namesNoRegistration = true;
    EXPECT_EQ(create(), nullptr);
    EXPECT_EQ(registry_->size(), 0U);
}

TEST_F(CarbonHotKeyServiceTest, AHandlerThatTheSystemRefusesIsTriedAgainWithTheNextHotKey) {
    mac_.handlerStatus = -9860;
    const auto first = create();
    EXPECT_EQ(mac_.handler, nullptr);
    EXPECT_EQ(log_.lines().front(),
              "[Morvel] Could not install hotkey event handler (OSStatus -9860)");
    mac_.handlerStatus = 0;
    const auto second = create();
    EXPECT_EQ(mac_.press(EventHotKeyID{signature, 2}), 0);
    EXPECT_EQ(presses_, 1);
}

TEST_F(CarbonHotKeyServiceTest, GivesAShortcutBackOnceAndIgnoresUnknownReferences) {
    const auto reference = service_->registerHotKey(46, 0x1900, {signature, 1});
    ASSERT_TRUE(reference);
    service_->unregisterHotKey(HotKeyReference{77});
    EXPECT_EQ(mac_.hotKeys.size(), 1U);
    service_->unregisterHotKey(reference.value());
    service_->unregisterHotKey(reference.value());
    EXPECT_TRUE(mac_.hotKeys.empty());
}

TEST_F(CarbonHotKeyServiceTest, ItsEndGivesEverythingBack) {
    ASSERT_TRUE(service_->registerHotKey(46, 0x1900, {signature, 1}));
    service_->installHandler([](const auto&) { return hotKeyNoErr; });
    registry_.reset();
    service_.reset();
    EXPECT_TRUE(mac_.hotKeys.empty());
    EXPECT_EQ(mac_.calls, Lines{"handler removed"});
}

} // namespace
} // namespace morvel
