#include "platform/linux/SystemClock.h"
#include "platform/linux/X11KeyEventPoster.h"
#include "platform/linux/X11KeyTap.h"
#include "tests/support/MainLoop.h"
#include "tests/support/XServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <xcb/xinput.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include <csignal>
#include <optional>
#include <vector>

namespace morvel {
namespace {

using testing::ElementsAre;
using Motion = KeyEventPoster::Motion;

class Listener : public KeyTap::Listener {
public:
    void keyEvent(const KeyEvent& event) override { events.push_back(event); }
    void tapDisabled(TapDisabledReason) override {}

    std::vector<KeyEvent> events;
};

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};

class X11KeyEventPosterTest : public testing::Test {
protected:
    X11KeyEventPosterTest()
        : posting(X11Connection::open(server.display()))
        , listening(X11Connection::open(server.display()))
        , tap(*listening, clock) {
        poster.emplace(*posting);
        EXPECT_TRUE(tap.install(listener));
    }

    bool awaitEvents(std::size_t count) {
        return test::runUntil([&] { return listener.events.size() >= count; });
    }
    std::vector<std::uint8_t> heldKeys() {
        xcb_connection_t* x = listening->handle();
        const std::unique_ptr<xcb_query_keymap_reply_t, FreeReply> keys(
            xcb_query_keymap_reply(x, xcb_query_keymap(x), nullptr));
        std::vector<std::uint8_t> held;
        for (std::size_t key = 0; keys && key < 256; ++key)
            if ((keys->keys[key / 8] >> (key % 8) & 1) != 0)
                held.push_back(static_cast<std::uint8_t>(key));
        return held;
    }
    std::vector<xcb_keysym_t> symbolsOf(std::uint8_t key) {
        xcb_connection_t* x = listening->handle();
        const std::unique_ptr<xcb_get_keyboard_mapping_reply_t, FreeReply> mapping(
            xcb_get_keyboard_mapping_reply(x, xcb_get_keyboard_mapping(x, key, 1), nullptr));
        const xcb_keysym_t* first = xcb_get_keyboard_mapping_keysyms(mapping.get());
        return {first, first + mapping->keysyms_per_keycode};
    }
    void setSymbol(std::uint8_t key, xcb_keysym_t symbol) {
        xcb_connection_t* x = listening->handle();
        const std::unique_ptr<xcb_generic_error_t, FreeReply> error(
            xcb_request_check(x, xcb_change_keyboard_mapping_checked(x, 1, key, 1, &symbol)));
        EXPECT_FALSE(error);
    }

    SystemClock clock;
    test::XServer server;
    std::unique_ptr<X11Connection> posting;
    std::unique_ptr<X11Connection> listening;
    Listener listener;
    X11KeyTap tap;
    std::optional<X11KeyEventPoster> poster;
};

TEST_F(X11KeyEventPosterTest, APressAndAReleaseReachTheTapAsAnOrdinaryKey) {
    ASSERT_TRUE(poster->post(f13KeyCode, Motion::down));
    ASSERT_TRUE(poster->post(f13KeyCode, Motion::up));
    ASSERT_TRUE(awaitEvents(2));
    EXPECT_EQ(listener.events[0].type, keyDownEventType);
    EXPECT_EQ(listener.events[1].type, keyUpEventType);
    for (const KeyEvent& event : listener.events) {
        EXPECT_EQ(event.keyCode, neutralKeyCode);
        EXPECT_EQ(event.autoRepeat, 0);
        EXPECT_NE(event.timestampNanos, 0u);
    }
}

TEST_F(X11KeyEventPosterTest, RepeatsOfAHeldKeyReachTheTapAsRepeats) {
    ASSERT_TRUE(poster->post(f13KeyCode, Motion::down));
    for (int i = 0; i < 5; ++i)
        ASSERT_TRUE(poster->post(f13KeyCode, Motion::repeat));
    ASSERT_TRUE(poster->post(f13KeyCode, Motion::up));
    ASSERT_TRUE(test::runUntil(
        [&] { return !listener.events.empty() && listener.events.back().type == keyUpEventType; }));
    ASSERT_EQ(listener.events.size(), 7u);
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(listener.events[i].type, keyDownEventType) << i;
        EXPECT_EQ(listener.events[i].autoRepeat, i == 0 ? 0 : 1) << i;
    }
}

TEST_F(X11KeyEventPosterTest, TheKeyMakesNoSymbolThatADesktopCouldReactTo) {
    ASSERT_TRUE(poster->post(f13KeyCode, Motion::down));
    const auto held = heldKeys();
    ASSERT_EQ(held.size(), 1u);
    EXPECT_THAT(symbolsOf(held[0]), testing::Each(xcb_keysym_t{XKB_KEY_NoSymbol}));
}

TEST_F(X11KeyEventPosterTest, TheKeyThatTheKeymapCallsF13IsTaken) {
    setSymbol(191, XKB_KEY_F13);
    ASSERT_TRUE(poster->post(f13KeyCode, Motion::down));
    EXPECT_THAT(heldKeys(), ElementsAre(191));
    setSymbol(191, XKB_KEY_XF86Tools);
    ASSERT_TRUE(poster->post(f13KeyCode, Motion::up)) << "the key that is down";
    EXPECT_THAT(heldKeys(), ElementsAre());
}

TEST_F(X11KeyEventPosterTest, AnEndWhileTheKeyIsDownLetsItGo) {
    ASSERT_TRUE(poster->post(f13KeyCode, Motion::down));
    EXPECT_EQ(heldKeys().size(), 1u);
    poster.reset();
    EXPECT_THAT(heldKeys(), ElementsAre());
}

TEST_F(X11KeyEventPosterTest, AMotionThatDoesNotFollowCannotBeCreated) {
    EXPECT_FALSE(poster->post(f13KeyCode, Motion::repeat));
    EXPECT_FALSE(poster->post(f13KeyCode, Motion::up));
    ASSERT_TRUE(poster->post(f13KeyCode, Motion::down));
    EXPECT_FALSE(poster->post(f13KeyCode, Motion::down));
    EXPECT_FALSE(poster->post(49, Motion::up)) << "no key but F13";
    ASSERT_TRUE(poster->post(f13KeyCode, Motion::up));
}

TEST_F(X11KeyEventPosterTest, NoRepeatIsCreatedWhereTheUserWantsNone) {
    const std::uint32_t off = XCB_AUTO_REPEAT_MODE_OFF;
    xcb_change_keyboard_control(listening->handle(), XCB_KB_AUTO_REPEAT_MODE, &off);
    EXPECT_THAT(heldKeys(), ElementsAre()); // the server has got this far
    ASSERT_TRUE(poster->post(f13KeyCode, Motion::down));
    EXPECT_FALSE(poster->post(f13KeyCode, Motion::repeat));
    EXPECT_TRUE(poster->post(f13KeyCode, Motion::up));
}

TEST_F(X11KeyEventPosterTest, NothingIsCreatedOnceTheServerHasGone) {
    ASSERT_TRUE(poster->post(f13KeyCode, Motion::down));
    server.process().signal(SIGKILL);
    ASSERT_TRUE(test::runUntil([&] { return !posting->alive(); }));
    for (const Motion motion : {Motion::repeat, Motion::up, Motion::down})
        EXPECT_FALSE(poster->post(f13KeyCode, motion));
}

X11KeySymbols twoSymbolKeys(std::span<const xcb_keysym_t> symbols,
                            const std::vector<std::uint8_t>& repeating, std::uint8_t first = 190) {
    X11KeySymbols keys{first, 2, symbols, {}};
    for (const std::uint8_t key : repeating)
        keys.repeating.set(key);
    return keys;
}

TEST(F13HardwareKey, IsTheKeyOfThatSymbolWhereverItIs) {
    const xcb_keysym_t symbols[] = {0, 0, XKB_KEY_XF86Tools, 0, XKB_KEY_F13, XKB_KEY_F13};
    EXPECT_EQ(f13HardwareKey(twoSymbolKeys(symbols, {190})), 192);
}

TEST(F13HardwareKey, IsElseAKeyWithoutAnySymbolThatRepeats) {
    const xcb_keysym_t symbols[] = {0, XKB_KEY_Alt_L, XKB_KEY_XF86Tools, 0, 0, 0, 0, 0};
    EXPECT_EQ(f13HardwareKey(twoSymbolKeys(symbols, {190, 191, 193})), 193);
    EXPECT_EQ(f13HardwareKey(twoSymbolKeys(symbols, {})), 192);
}

TEST(F13HardwareKey, IsItsUsualPlaceWhereEveryKeyHasASymbol) {
    const xcb_keysym_t symbols[] = {XKB_KEY_a, 0, XKB_KEY_XF86Tools, 0};
    EXPECT_EQ(f13HardwareKey(twoSymbolKeys(symbols, {})), 191);
    EXPECT_EQ(f13HardwareKey(twoSymbolKeys(symbols, {}, 8)), std::nullopt) << "no such key";
    EXPECT_EQ(f13HardwareKey({}), std::nullopt);
}

} // namespace
} // namespace morvel
