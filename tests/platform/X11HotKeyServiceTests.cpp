#include "app/hotkey/GlobalHotKey.h"
#include "platform/linux/SystemClock.h"
#include "platform/linux/X11HotKeyService.h"
#include "platform/linux/X11KeyTap.h"
#include "platform/qt/QtScheduler.h"
#include "platform/simulated/SimulatedLog.h"
#include "tests/support/MainLoop.h"
#include "tests/support/XServer.h"
#include "tools/audition/KeyInjector.h"

#include <gtest/gtest.h>

#include <csignal>

namespace morvel {
namespace {

using Lines = std::vector<std::string>;

constexpr std::uint32_t muteKey = 46;
constexpr std::uint32_t muteModifiers = 6400;
constexpr HotKeyIdentifier mute{GlobalHotKeyRegistry::signature, 7};

// One X server a test: each begins with the keymap and the lock state that a session begins with.
class X11HotKeyServiceTest : public testing::Test {
protected:
    X11HotKeyServiceTest()
        : connection_(X11Connection::open(server_.display()))
        , service_(std::make_unique<X11HotKeyService>(*connection_, scheduler_))
        , keys_(server_.display()) {
        EXPECT_EQ(service_->installHandler([this](const auto& identifier) {
            presses_.push_back(identifier.value());
            return hotKeyNoErr;
        }),
                  hotKeyNoErr);
    }

    void setKeymap(const std::vector<std::string>& options) {
        std::vector<std::string> command = {"setxkbmap", "-display", server_.display()};
        command.insert(command.end(), options.begin(), options.end());
        test::ChildProcess setxkbmap({command, {}, "/dev/null", {}});
        ASSERT_EQ(setxkbmap.wait(std::chrono::seconds(20)), 0);
        settle();
    }

    // Returns when the service has seen, and followed, all that the server has done so far.
    void settle() {
        for (int round = 0; round < 3; ++round) {
            std::free(xcb_get_input_focus_reply(
                connection_->handle(), xcb_get_input_focus(connection_->handle()), nullptr));
            connection_->dispatch();
            bool turned = false;
            scheduler_.async([&turned] { turned = true; });
            EXPECT_TRUE(test::runUntil([&turned] { return turned; }));
        }
    }

    void type(xkb_keysym_t keysym) {
        keys_.press(keysym);
        keys_.release(keysym);
    }
    void pressShortcut(const std::vector<xkb_keysym_t>& modifiers = {XKB_KEY_Control_L,
                                                                     XKB_KEY_Alt_L,
                                                                     XKB_KEY_Super_L},
                       xkb_keysym_t key = XKB_KEY_m) {
        for (const xkb_keysym_t modifier : modifiers)
            keys_.press(modifier);
        type(key);
        for (const xkb_keysym_t modifier : modifiers)
            keys_.release(modifier);
        settle();
    }
    std::size_t pressCount() {
        settle();
        return presses_.size();
    }

    test::XServer server_;
    QtScheduler scheduler_;
    std::unique_ptr<X11Connection> connection_;
    std::unique_ptr<X11HotKeyService> service_;
    audition::KeyInjector keys_;
    std::vector<HotKeyIdentifier> presses_;
};

TEST_F(X11HotKeyServiceTest, DeliversThePressWithItsIdentifier) {
    ASSERT_TRUE(service_->registerHotKey(muteKey, muteModifiers, mute));
    pressShortcut();
    EXPECT_EQ(presses_, std::vector{mute});
}

TEST_F(X11HotKeyServiceTest, WorksWithEveryStateOfTheLocks) {
    setKeymap({"-layout", "us", "-option", ""});
    ASSERT_TRUE(service_->registerHotKey(muteKey, muteModifiers, mute));
    std::size_t expected = 0;
    for (int state = 0; state < 8; ++state) {
        for (const auto& [bit, lock] :
             {std::pair(1, XKB_KEY_Caps_Lock), {2, XKB_KEY_Num_Lock}, {4, XKB_KEY_Scroll_Lock}})
            if ((state & bit) != 0)
                type(lock);
        pressShortcut();
        EXPECT_EQ(pressCount(), ++expected) << "lock state " << state;
        for (const auto& [bit, lock] :
             {std::pair(1, XKB_KEY_Caps_Lock), {2, XKB_KEY_Num_Lock}, {4, XKB_KEY_Scroll_Lock}})
            if ((state & bit) != 0)
                type(lock);
    }
}

TEST_F(X11HotKeyServiceTest, MoreOrFewerModifiersAreAnotherShortcut) {
    ASSERT_TRUE(service_->registerHotKey(muteKey, muteModifiers, mute));
    pressShortcut({});
    pressShortcut({XKB_KEY_Control_L, XKB_KEY_Alt_L});
    pressShortcut({XKB_KEY_Control_L, XKB_KEY_Alt_L, XKB_KEY_Super_L, XKB_KEY_Shift_L});
    pressShortcut({XKB_KEY_Control_L, XKB_KEY_Alt_L, XKB_KEY_Super_L}, XKB_KEY_n);
    EXPECT_EQ(pressCount(), 0u);
}

TEST_F(X11HotKeyServiceTest, AHeldShortcutIsOnePress) {
    ASSERT_TRUE(service_->registerHotKey(muteKey, muteModifiers, mute));
    int repeated = 0;
    const auto counting = connection_->observe([&](const xcb_generic_event_t& event) {
        repeated += (event.response_type & 0x7f) == XCB_KEY_PRESS ? 1 : 0;
    });
    for (const xkb_keysym_t modifier : {XKB_KEY_Control_L, XKB_KEY_Alt_L, XKB_KEY_Super_L})
        keys_.press(modifier);
    keys_.press(XKB_KEY_m);
    ASSERT_TRUE(test::runUntil([&] { return repeated >= 4; })); // the server's own repeats
    keys_.release(XKB_KEY_m);
    EXPECT_EQ(pressCount(), 1u);
    type(XKB_KEY_m);
    EXPECT_EQ(pressCount(), 2u);
}

TEST_F(X11HotKeyServiceTest, TheKeyTapHearsTheKeysOfTheShortcutToo) {
    struct Listener : KeyTap::Listener {
        void keyEvent(const KeyEvent& event) override {
            letterDowns += event.type == keyDownEventType && event.keyCode == neutralKeyCode;
        }
        void tapDisabled(TapDisabledReason) override {}
        int letterDowns = 0;
    } listener;
    const SystemClock clock;
    auto own = X11Connection::open(server_.display());
    X11KeyTap tap(*own, clock);
    ASSERT_TRUE(tap.install(listener));
    ASSERT_TRUE(service_->registerHotKey(muteKey, muteModifiers, mute));
    pressShortcut();
    EXPECT_TRUE(test::runUntil([&] { return listener.letterDowns == 1; }));
    EXPECT_EQ(presses_.size(), 1u);
}

TEST_F(X11HotKeyServiceTest, AShortcutOfAnotherClientIsRefusedWithTheStatusInTheLog) {
    auto other = X11Connection::open(server_.display());
    X11HotKeyService first(*other, scheduler_);
    ASSERT_TRUE(first.registerHotKey(muteKey, muteModifiers, mute));
    SimulatedLog log;
    GlobalHotKeyRegistry registry(*service_, scheduler_, log);
    EXPECT_EQ(GlobalHotKey::create(registry, muteKey, muteModifiers, [] {}), nullptr);
    EXPECT_EQ(registry.size(), 0u);
    EXPECT_EQ(log.lines(),
              Lines{"[Morvel] Hotkey ⌃⌥⌘M could not be registered (OSStatus -9878) — another app "
                    "may already own it"});
}

TEST_F(X11HotKeyServiceTest, AShortcutThatIsTakenForOneLockStateIsRefusedAndLeavesNoGrab) {
    auto other = X11Connection::open(server_.display());
    constexpr std::uint16_t withCapsLock = 0x4 | 0x8 | 0x40 | 0x2;
    constexpr std::uint8_t keyOfM = 58;
    xcb_grab_key(other->handle(), 0, other->root(), withCapsLock, keyOfM, XCB_GRAB_MODE_ASYNC,
                 XCB_GRAB_MODE_ASYNC);
    std::free(
        xcb_get_input_focus_reply(other->handle(), xcb_get_input_focus(other->handle()), nullptr));
    const auto refused = service_->registerHotKey(muteKey, muteModifiers, mute);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error(), eventHotKeyExistsErr);
    pressShortcut();
    EXPECT_EQ(pressCount(), 0u);
}

TEST_F(X11HotKeyServiceTest, WhatIsGivenUpIsFreeForOthers) {
    const auto reference = service_->registerHotKey(muteKey, muteModifiers, mute);
    ASSERT_TRUE(reference);
    auto other = X11Connection::open(server_.display());
    X11HotKeyService second(*other, scheduler_);
    EXPECT_FALSE(second.registerHotKey(muteKey, muteModifiers, mute));
    service_->unregisterHotKey(reference.value());
    settle();
    EXPECT_TRUE(second.registerHotKey(muteKey, muteModifiers, mute));
    pressShortcut();
    EXPECT_EQ(pressCount(), 0u);
}

TEST_F(X11HotKeyServiceTest, AServiceThatGoesGivesEverythingUp) {
    ASSERT_TRUE(service_->registerHotKey(muteKey, muteModifiers, mute));
    service_.reset();
    settle();
    auto other = X11Connection::open(server_.display());
    X11HotKeyService second(*other, scheduler_);
    EXPECT_TRUE(second.registerHotKey(muteKey, muteModifiers, mute));
}

TEST_F(X11HotKeyServiceTest, AChangeOfTheKeymapMovesTheShortcutToTheKeyThatNowHasTheLetter) {
    ASSERT_TRUE(service_->registerHotKey(muteKey, muteModifiers, mute));
    setKeymap({"-layout", "fr", "-option", ""}); // its M is where others have the semicolon
    pressShortcut();
    EXPECT_EQ(pressCount(), 1u);
    pressShortcut({XKB_KEY_Control_L, XKB_KEY_Alt_L, XKB_KEY_Super_L}, XKB_KEY_comma); // the old M
    EXPECT_EQ(pressCount(), 1u);
}

TEST_F(X11HotKeyServiceTest, AKeymapWithOtherModifiersIsFollowed) {
    ASSERT_TRUE(service_->registerHotKey(muteKey, muteModifiers, mute));
    setKeymap({"-layout", "us", "-option", "altwin:swap_alt_win"});
    pressShortcut();
    EXPECT_EQ(pressCount(), 1u);
}

TEST_F(X11HotKeyServiceTest, ALayoutWithoutLatinLettersKeepsTheShortcutOfTheOther) {
    setKeymap({"-layout", "us,ru", "-option", "grp:menu_toggle"});
    ASSERT_TRUE(service_->registerHotKey(muteKey, muteModifiers, mute));
    type(XKB_KEY_ISO_Next_Group);
    settle();
    pressShortcut();
    EXPECT_EQ(pressCount(), 1u);
}

TEST_F(X11HotKeyServiceTest, AnUnknownKeyIsRefusedAsInvalid) {
    const auto refused = service_->registerHotKey(3, muteModifiers, mute);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error(), eventHotKeyInvalidErr);
}

TEST_F(X11HotKeyServiceTest, WithoutAServerThereIsNeitherHandlerNorShortcut) {
    server_.process().signal(SIGKILL);
    EXPECT_TRUE(test::runUntil([&] {
        connection_->dispatch();
        return !connection_->alive();
    }));
    X11HotKeyService late(*connection_, scheduler_);
    EXPECT_EQ(late.installHandler([](const auto&) { return hotKeyNoErr; }), eventInternalErr);
    const auto refused = late.registerHotKey(muteKey, muteModifiers, mute);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error(), eventInternalErr);
}

} // namespace
} // namespace morvel
