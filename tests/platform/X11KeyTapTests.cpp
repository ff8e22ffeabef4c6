#include "platform/linux/SystemClock.h"
#include "platform/linux/X11KeyTap.h"
#include "tests/support/MainLoop.h"
#include "tests/support/XServer.h"
#include "tools/audition/KeyInjector.h"

#include <gtest/gtest.h>
#include <xcb/xinput.h>

#include <csignal>
#include <vector>

namespace morvel {
namespace {

class Listener : public KeyTap::Listener {
public:
    void keyEvent(const KeyEvent& event) override { events.push_back(event); }
    void tapDisabled(TapDisabledReason) override { ADD_FAILURE() << "X11 disables no tap"; }

    std::vector<KeyEvent> events;
};

// One X server a test: each begins with the keymap and the lock state that a session begins with.
class X11KeyTapTest : public testing::Test {
protected:
    X11KeyTapTest()
        : connection(X11Connection::open(server.display()))
        , tap(*connection, clock)
        , keys(server.display()) {}

    void setKeymap(const std::vector<std::string>& options) {
        std::vector<std::string> command = {"setxkbmap", "-display", server.display()};
        command.insert(command.end(), options.begin(), options.end());
        test::ChildProcess setxkbmap({command, {}, "/dev/null", {}});
        ASSERT_EQ(setxkbmap.wait(std::chrono::seconds(20)), 0);
    }

    void type(xkb_keysym_t keysym) {
        keys.press(keysym);
        keys.release(keysym);
    }

    // Types a key at the end, so that its release proves that all before it has arrived.
    std::vector<KeyEvent> eventsOf(const std::function<void()>& typing) {
        listener.events.clear();
        typing();
        type(XKB_KEY_Escape);
        const auto arrived = [this] {
            return !listener.events.empty() && listener.events.back().keyCode == 53 &&
                   listener.events.back().type == keyUpEventType;
        };
        EXPECT_TRUE(test::runUntil(arrived));
        std::vector<KeyEvent> events = listener.events;
        if (events.size() >= 2)
            events.resize(events.size() - 2);
        return events;
    }

    static std::vector<std::int64_t> codes(const std::vector<KeyEvent>& events) {
        std::vector<std::int64_t> result;
        for (const KeyEvent& event : events)
            result.push_back(event.keyCode);
        return result;
    }

    SystemClock clock;
    test::XServer server;
    std::unique_ptr<X11Connection> connection;
    Listener listener;
    X11KeyTap tap;
    audition::KeyInjector keys;
};

TEST_F(X11KeyTapTest, LettersArriveAsNeutralKeysWithTheTimeOfTheirPress) {
    ASSERT_TRUE(tap.install(listener));
    const std::uint64_t before = clock.hostNanos();
    const auto events = eventsOf([&] {
        type(XKB_KEY_a);
        type(XKB_KEY_7);
    });
    const std::uint64_t after = clock.hostNanos();
    ASSERT_EQ(codes(events), (std::vector<std::int64_t>(4, neutralKeyCode)));
    EXPECT_EQ(events[0].type, keyDownEventType);
    EXPECT_EQ(events[1].type, keyUpEventType);
    constexpr std::uint64_t stampResolution = 10000000; // the server may read a coarse clock
    for (const KeyEvent& event : events) {
        EXPECT_EQ(event.autoRepeat, 0);
        EXPECT_GT(event.timestampNanos + stampResolution, before);
        EXPECT_LE(event.timestampNanos, after);
    }
}

TEST_F(X11KeyTapTest, NamedKeysArriveWithTheirOwnCodes) {
    ASSERT_TRUE(tap.install(listener));
    const auto events = eventsOf([&] {
        for (const xkb_keysym_t key : {XKB_KEY_space, XKB_KEY_Return, XKB_KEY_KP_Enter, XKB_KEY_Tab,
                                       XKB_KEY_BackSpace, XKB_KEY_Delete})
            type(key);
    });
    EXPECT_EQ(codes(events),
              (std::vector<std::int64_t>{49, 49, 36, 36, 76, 76, 48, 48, 51, 51, 117, 117}));
}

TEST_F(X11KeyTapTest, ModifiersArriveAsChangesOfTheFlagsOfTheirSide) {
    ASSERT_TRUE(tap.install(listener));
    const auto events = eventsOf([&] {
        keys.press(XKB_KEY_Shift_L);
        keys.press(XKB_KEY_Shift_R);
        keys.release(XKB_KEY_Shift_L);
        keys.release(XKB_KEY_Shift_R);
        type(XKB_KEY_Control_R);
        type(XKB_KEY_Alt_L);
        type(XKB_KEY_Super_L);
    });
    ASSERT_EQ(codes(events), (std::vector<std::int64_t>{56, 60, 56, 60, 62, 62, 58, 58, 55, 55}));
    const std::uint64_t flags[] = {0x2, 0x6, 0x4, 0, 0x2000, 0, 0x20, 0, 0x8, 0};
    for (std::size_t i = 0; i < events.size(); ++i) {
        EXPECT_EQ(events[i].type, flagsChangedEventType) << i;
        EXPECT_EQ(events[i].flags, flags[i]) << i;
    }
}

TEST_F(X11KeyTapTest, CapsLockArrivesWhenItsLockStateChanges) {
    ASSERT_TRUE(tap.install(listener));
    const auto on = eventsOf([&] { type(XKB_KEY_Caps_Lock); });
    ASSERT_EQ(on.size(), 1u);
    EXPECT_EQ(on[0].keyCode, capsLockKeyCode);
    EXPECT_EQ(on[0].flags, 0x10000u);
    EXPECT_NE(on[0].timestampNanos, 0u);
    const auto letters = eventsOf([&] { type(XKB_KEY_a); });
    ASSERT_EQ(letters.size(), 2u);
    EXPECT_EQ(letters[0].flags, 0x10000u);
    const auto off = eventsOf([&] { type(XKB_KEY_Caps_Lock); });
    ASSERT_EQ(off.size(), 1u);
    EXPECT_EQ(off[0].flags, 0u);
}

TEST_F(X11KeyTapTest, ACapsLockThatIsOnAtTheStartIsKnown) {
    type(XKB_KEY_Caps_Lock);
    ASSERT_TRUE(tap.install(listener));
    const auto letters = eventsOf([&] { type(XKB_KEY_a); });
    ASSERT_EQ(letters.size(), 2u);
    EXPECT_EQ(letters[0].flags, 0x10000u);
}

TEST_F(X11KeyTapTest, ACapsLockRemappedToControlIsAControl) {
    setKeymap({"-layout", "us", "-option", "ctrl:nocaps"});
    ASSERT_TRUE(tap.install(listener));
    // The key in the Caps Lock position is the first with that symbol.
    const auto events = eventsOf([&] { type(XKB_KEY_Control_L); });
    EXPECT_EQ(codes(events), (std::vector<std::int64_t>{59, 59}));
    EXPECT_EQ(events[0].flags, 0x1u);
}

TEST_F(X11KeyTapTest, ACapsLockKeyThatActsAsControlIsAControl) {
    setKeymap({"-layout", "us", "-option", "caps:ctrl_modifier"});
    ASSERT_TRUE(tap.install(listener));
    const auto events = eventsOf([&] { type(XKB_KEY_Caps_Lock); });
    ASSERT_EQ(codes(events), (std::vector<std::int64_t>{59, 59}));
    EXPECT_EQ(events[0].flags, 0x1u);
    EXPECT_EQ(events[1].flags, 0u);
}

TEST_F(X11KeyTapTest, AChangeOfTheKeymapIsFollowed) {
    ASSERT_TRUE(tap.install(listener));
    setKeymap({"-layout", "us", "-option", "caps:backspace"});
    const auto events = eventsOf([&] {
        type(XKB_KEY_BackSpace);
        setKeymap({"-layout", "de", "-option", ""});
        type(XKB_KEY_Caps_Lock);
        type(XKB_KEY_BackSpace);
    });
    EXPECT_EQ(codes(events), (std::vector<std::int64_t>{51, 51, capsLockKeyCode, 51, 51}));
}

// The server repeats a held key for its ordinary clients; the tap must tell them from presses.
TEST_F(X11KeyTapTest, AHeldKeyIsPressedOnce) {
    ASSERT_TRUE(tap.install(listener));
    auto observer = X11Connection::open(server.display());
    ASSERT_TRUE(observer);
    struct {
        xcb_input_event_mask_t header;
        std::uint32_t mask;
    } selection{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, XCB_INPUT_XI_EVENT_MASK_KEY_PRESS};
    std::free(xcb_input_xi_query_version_reply(
        observer->handle(), xcb_input_xi_query_version(observer->handle(), 2, 2), nullptr));
    xcb_input_xi_select_events(observer->handle(), observer->root(), 1, &selection.header);
    xcb_flush(observer->handle());
    int presses = 0;
    const auto counting = observer->observe([&presses](const xcb_generic_event_t&) { ++presses; });

    const auto events = eventsOf([&] {
        keys.press(XKB_KEY_a);
        ASSERT_TRUE(test::runUntil([&presses] { return presses >= 4; }));
        keys.release(XKB_KEY_a);
    });
    int sounding = 0;
    for (const KeyEvent& event : events)
        sounding += event.type == keyDownEventType && event.autoRepeat == 0 ? 1 : 0;
    EXPECT_EQ(sounding, 1);
    EXPECT_EQ(events.back().type, keyUpEventType);
}

TEST_F(X11KeyTapTest, ARemovedTapHearsNothingAndCanBeInstalledAgain) {
    ASSERT_TRUE(tap.install(listener));
    tap.remove();
    type(XKB_KEY_a);
    ASSERT_TRUE(tap.install(listener));
    const auto events = eventsOf([&] { type(XKB_KEY_space); });
    EXPECT_EQ(codes(events), (std::vector<std::int64_t>{49, 49}));
}

TEST_F(X11KeyTapTest, AServerThatDiesIsReportedOnceAndEndsTrust) {
    X11TrustSource trust(connection.get());
    EXPECT_TRUE(trust.isTrusted());
    ASSERT_TRUE(tap.install(listener));
    int lost = 0;
    connection->setLostHandler([&lost] { ++lost; });
    server.process().signal(SIGKILL);
    EXPECT_TRUE(test::runUntil([&lost] { return lost > 0; }));
    EXPECT_EQ(lost, 1);
    EXPECT_FALSE(trust.isTrusted());
    tap.remove();
    EXPECT_FALSE(tap.install(listener));
}

TEST(X11Connection, IsNullWithoutAServer) {
    EXPECT_EQ(X11Connection::open(":4099"), nullptr);
    X11TrustSource trust(nullptr);
    EXPECT_FALSE(trust.isTrusted());
}

} // namespace
} // namespace morvel
