#include "keyboard/Classification.h"
#include "platform/macos/EventTapKeyTap.h"
#include "tests/platform/macos/FakeMac.h"

namespace morvel {
namespace {

using Calls = std::vector<std::string>;

class EventTapKeyTapTest : public MacTest, public KeyTap::Listener {
protected:
    void keyEvent(const KeyEvent& event) override { events_.push_back(event); }
    void tapDisabled(TapDisabledReason reason) override {
        reasons_.push_back(reason);
        tap_.enable();
    }

    EventTapKeyTap tap_;
    std::vector<KeyEvent> events_;
    std::vector<TapDisabledReason> reasons_;
};

TEST_F(EventTapKeyTapTest, AsksForAListenOnlyTapOfTheSessionsKeysAtTheHead) {
    ASSERT_TRUE(tap_.install(*this));
    ASSERT_TRUE(mac_.tap);
    EXPECT_EQ(mac_.tap->location, 1U);
    EXPECT_EQ(mac_.tap->place, 0U);
    EXPECT_EQ(mac_.tap->options, 1U);
    EXPECT_EQ(mac_.tap->mask, 0x1C00U);
    tap_.remove();
}

TEST_F(EventTapKeyTapTest, RunsOnTheMainRunLoopInTheCommonModesUntilItIsRemoved) {
    ASSERT_TRUE(tap_.install(*this));
    EXPECT_EQ(mac_.calls, (Calls{"source added to common modes", "tap enabled"}));
    mac_.calls.clear();
    tap_.remove();
    EXPECT_EQ(mac_.calls,
              (Calls{"tap disabled", "source removed from common modes", "port invalidated"}));
    mac_.calls.clear();
    tap_.remove();
    EXPECT_EQ(mac_.calls, Calls{});
}

TEST_F(EventTapKeyTapTest, IsNotInstalledWhereTheSystemRefusesTheTap) {
    mac_.refusesTap = true;
    EXPECT_FALSE(tap_.install(*this));
    EXPECT_EQ(mac_.calls, Calls{});
    mac_.refusesTap = false;
    EXPECT_TRUE(tap_.install(*this));
    tap_.remove();
}

TEST_F(EventTapKeyTapTest, GivesTheTapBackWhereItGetsNoRunLoopSource) {
    mac_.refusesSource = true;
    EXPECT_FALSE(tap_.install(*this));
    EXPECT_EQ(mac_.calls, (Calls{"tap disabled", "port invalidated"}));
}

TEST_F(EventTapKeyTapTest, HandsOnTypeCodeRepeatAndTimeAndReturnsTheEventAsItCame) {
    ASSERT_TRUE(tap_.install(*this));
    {
        FakeEvent event;
        event.fields = {{8, 1}, {9, 49}};
        event.flags = 0xA00100; // of an arrow
        event.timestamp = 123456789;
        EXPECT_EQ(mac_.deliver(10, event), &event);
        EXPECT_EQ(event.fields, (std::map<std::uint32_t, std::int64_t>{{8, 1}, {9, 49}}));
    }
    ASSERT_EQ(events_.size(), 1U);
    EXPECT_EQ(events_[0].type, keyDownEventType);
    EXPECT_EQ(events_[0].keyCode, 49);
    EXPECT_EQ(events_[0].flags, 0U);
    EXPECT_EQ(events_[0].autoRepeat, 1);
    EXPECT_EQ(events_[0].timestampNanos, 123456789U);
    tap_.remove();
}

TEST_F(EventTapKeyTapTest, HandsOnTheFlagsOfAModifier) {
    ASSERT_TRUE(tap_.install(*this));
    {
        FakeEvent event;
        event.fields = {{9, 56}};
        event.flags = 0x20002;
        mac_.deliver(12, event);
    }
    ASSERT_EQ(events_.size(), 1U);
    EXPECT_EQ(events_[0].type, flagsChangedEventType);
    EXPECT_EQ(events_[0].keyCode, 56);
    EXPECT_EQ(events_[0].flags, 0x20002U);
    tap_.remove();
}

TEST_F(EventTapKeyTapTest, ATimeoutIsToldAndTheTapEnabledAgain) {
    ASSERT_TRUE(tap_.install(*this));
    mac_.calls.clear();
    {
        FakeEvent notice;
        EXPECT_EQ(mac_.deliver(0xFFFFFFFE, notice), &notice);
    }
    EXPECT_EQ(reasons_, std::vector{TapDisabledReason::timeout});
    EXPECT_EQ(mac_.calls, Calls{"tap enabled"});
    EXPECT_TRUE(events_.empty());
    tap_.remove();
}

TEST_F(EventTapKeyTapTest, UserInputThatDisablesItIsToldAndTheTapEnabledAgain) {
    ASSERT_TRUE(tap_.install(*this));
    mac_.calls.clear();
    {
        FakeEvent notice;
        EXPECT_EQ(mac_.deliver(0xFFFFFFFF, notice), &notice);
    }
    EXPECT_EQ(reasons_, std::vector{TapDisabledReason::userInput});
    EXPECT_EQ(mac_.calls, Calls{"tap enabled"});
    tap_.remove();
}

TEST_F(EventTapKeyTapTest, EnablingWhatIsNotInstalledDoesNothing) {
    tap_.enable();
    EXPECT_EQ(mac_.calls, Calls{});
}

TEST_F(EventTapKeyTapTest, ACallWithoutAnEngineReturnsTheEvent) {
    ASSERT_TRUE(tap_.install(*this));
    mac_.tap->user = nullptr;
    {
        FakeEvent event;
        EXPECT_EQ(mac_.deliver(10, event), &event);
    }
    EXPECT_TRUE(events_.empty());
    tap_.remove();
}

TEST(TappedKeyCode, KeepsExactlyTheCodesThatTheClassifierTellsApart) {
    for (std::int64_t code = 0; code < 256; ++code) {
        const bool named = namedKeyGroup(code) || modifierFlag(code) != 0;
        EXPECT_EQ(tappedKeyCode(code), named ? code : neutralKeyCode) << code;
    }
}

} // namespace
} // namespace morvel
