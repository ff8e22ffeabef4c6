// Shortcuts that are looked for at the test's own keyboards.

#include "platform/linux/EvdevHotKeyService.h"
#include "platform/linux/EvdevKeyTap.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/VirtualTime.h"
#include "tests/platform/FixedKeymap.h"
#include "tests/support/InputDevices.h"
#include "tests/support/MainLoop.h"

#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <QTimer>
#include <string>
#include <vector>

namespace morvel {
namespace {

using test::InputDevice;
using test::InputDevices;
using Way = HotKeyDelivery::Way;
using Keys = std::vector<int>;

constexpr std::uint32_t muteKey = 46;
constexpr std::uint32_t muteModifiers = controlModifier | optionModifier | commandModifier;
constexpr HotKeyIdentifier mute{1, 7};

class EvdevHotKeyServiceTest : public testing::Test {
protected:
    EvdevHotKeyServiceTest() {
        for (const char* name : {"RULES", "MODEL", "LAYOUT", "VARIANT", "OPTIONS"})
            qunsetenv((std::string("XKB_DEFAULT_") + name).c_str());
        service.installHandler([this](const auto& identifier) {
            heard.push_back(identifier.value());
            return hotKeyNoErr;
        });
    }
    void claim() { EXPECT_TRUE(service.registerHotKey(muteKey, muteModifiers, mute)); }

    static void hold(InputDevice& device, const Keys& keys) {
        for (const int key : keys)
            device.key(key, 1);
    }
    static void letGo(InputDevice& device, const Keys& keys) {
        for (const int key : keys)
            device.key(key, 0);
    }
    void chord(const Keys& modifiers = {KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTMETA}, int key = KEY_M) {
        hold(keyboard, modifiers);
        keyboard.type(key);
        letGo(keyboard, modifiers);
    }

    // The presses of the shortcut in what was typed on that keyboard so far: Escape, typed last,
    // has then been heard, by one who hears everything after the service.
    int presses(InputDevice& last) {
        struct Probe : EvdevKeyboards::Listener {
            void opened(std::uint32_t, const EvdevKeyboard&) override {}
            void closed(std::uint32_t) override {}
            void event(std::uint32_t, const EvdevKeyboard::Event& event) override {
                done |= event.code == KEY_ESC && event.value == 0;
            }
            bool done = false;
        } probe;
        const auto listening = keyboards.listen(probe);
        last.type(KEY_ESC);
        EXPECT_TRUE(test::runUntil([&probe] { return probe.done; }));
        const auto count = static_cast<int>(heard.size());
        EXPECT_EQ(heard, std::vector(heard.size(), mute));
        heard.clear();
        return count;
    }
    int presses() { return presses(keyboard); }

    // The kernel's side has a thread of its own, which wakes no loop.
    static bool awaitReaders(const InputDevice& device, int readers) {
        QTimer tick;
        tick.start(1);
        return test::runUntil([&] { return device.readers() == readers; });
    }

    InputDevices devices;
    InputDevice& keyboard = devices.plug(InputDevices::keyboard());
    KeyboardNodes nodes{"seat0"};
    EvdevKeyboards keyboards{nodes};
    std::vector<HotKeyIdentifier> heard;
    FixedKeymap keymap;
    VirtualTime time;
    SimulatedLog log;
    EvdevHotKeyService service{keyboards, keymap};
};

TEST_F(EvdevHotKeyServiceTest, DeliversThePressWithItsIdentifier) {
    claim();
    chord();
    EXPECT_EQ(presses(), 1);
    chord();
    chord();
    EXPECT_EQ(presses(), 2);
}

TEST_F(EvdevHotKeyServiceTest, MoreOrFewerModifiersAreAnotherShortcut) {
    claim();
    chord({});
    chord({KEY_LEFTCTRL, KEY_LEFTALT});
    chord({KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTMETA, KEY_LEFTSHIFT});
    chord({KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTMETA}, KEY_N);
    EXPECT_EQ(presses(), 0);
}

TEST_F(EvdevHotKeyServiceTest, EitherOfAPairOfModifiersWillDoAndBothToo) {
    claim();
    chord({KEY_RIGHTCTRL, KEY_RIGHTALT, KEY_RIGHTMETA});
    chord({KEY_LEFTCTRL, KEY_RIGHTCTRL, KEY_LEFTALT, KEY_LEFTMETA});
    EXPECT_EQ(presses(), 2);
    hold(keyboard, {KEY_LEFTCTRL, KEY_RIGHTCTRL, KEY_LEFTALT, KEY_LEFTMETA});
    keyboard.key(KEY_RIGHTCTRL, 0);
    keyboard.type(KEY_M);
    letGo(keyboard, {KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTMETA});
    EXPECT_EQ(presses(), 1);
}

TEST_F(EvdevHotKeyServiceTest, AltGrIsNoAlt) {
    qputenv("XKB_DEFAULT_LAYOUT", "de");
    claim();
    chord({KEY_LEFTCTRL, KEY_RIGHTALT, KEY_LEFTMETA});
    chord({KEY_LEFTCTRL, KEY_LEFTALT, KEY_RIGHTALT, KEY_LEFTMETA});
    EXPECT_EQ(presses(), 0);
    chord();
    EXPECT_EQ(presses(), 1);
}

TEST_F(EvdevHotKeyServiceTest, LocksDoNotMatterHeldOrLocked) {
    claim();
    for (const int lock : {KEY_CAPSLOCK, KEY_NUMLOCK, KEY_SCROLLLOCK}) {
        keyboard.type(lock);
        chord();
    }
    EXPECT_EQ(presses(), 3);
    chord({KEY_CAPSLOCK, KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTMETA});
    EXPECT_EQ(presses(), 1);
}

TEST_F(EvdevHotKeyServiceTest, AHeldShortcutIsOnePress) {
    claim();
    hold(keyboard, {KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTMETA, KEY_M});
    for (int repeat = 0; repeat < 3; ++repeat)
        keyboard.key(KEY_M, 2);
    keyboard.key(KEY_M, 1);
    letGo(keyboard, {KEY_M});
    keyboard.type(KEY_M);
    letGo(keyboard, {KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTMETA});
    EXPECT_EQ(presses(), 2);
}

TEST_F(EvdevHotKeyServiceTest, ModifiersThatComeAfterTheKeyMakeNoPress) {
    claim();
    hold(keyboard, {KEY_M, KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTMETA});
    keyboard.key(KEY_M, 2);
    letGo(keyboard, {KEY_M, KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTMETA});
    EXPECT_EQ(presses(), 0);
}

TEST_F(EvdevHotKeyServiceTest, AModifierOfOneKeyboardCountsForAKeyOfAnother) {
    InputDevice& other = devices.plug(InputDevices::keyboard());
    claim();
    ASSERT_TRUE(awaitReaders(other, 1));
    hold(keyboard, {KEY_LEFTCTRL, KEY_LEFTALT});
    EXPECT_EQ(presses(), 0);
    hold(other, {KEY_LEFTMETA});
    EXPECT_EQ(presses(other), 0);
    other.type(KEY_M);
    EXPECT_EQ(presses(other), 1);
}

TEST_F(EvdevHotKeyServiceTest, AModifierHeldOnTwoKeyboardsIsHeldUntilBothHaveLetGo) {
    InputDevice& other = devices.plug(InputDevices::keyboard());
    claim();
    ASSERT_TRUE(awaitReaders(other, 1));
    hold(keyboard, {KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTMETA});
    EXPECT_EQ(presses(), 0);
    hold(other, {KEY_LEFTCTRL});
    letGo(other, {KEY_LEFTCTRL});
    EXPECT_EQ(presses(other), 0);
    keyboard.type(KEY_M);
    EXPECT_EQ(presses(), 1);
}

TEST_F(EvdevHotKeyServiceTest, TheKeyOfTwoKeyboardsIsPressedOnceUntilBothHaveLetGo) {
    InputDevice& other = devices.plug(InputDevices::keyboard());
    claim();
    ASSERT_TRUE(awaitReaders(other, 1));
    hold(keyboard, {KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTMETA, KEY_M});
    EXPECT_EQ(presses(), 1);
    other.type(KEY_M);
    EXPECT_EQ(presses(other), 0);
    letGo(keyboard, {KEY_M});
    EXPECT_EQ(presses(), 0);
    other.type(KEY_M);
    EXPECT_EQ(presses(other), 1);
}

TEST_F(EvdevHotKeyServiceTest, AKeyboardThatGoesLetsGoOfItsModifiers) {
    InputDevice& other = devices.plug(InputDevices::keyboard());
    claim();
    ASSERT_TRUE(awaitReaders(other, 1));
    hold(other, {KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTMETA, KEY_LEFTSHIFT});
    other.unplug();
    ASSERT_TRUE(test::runUntil([this] { return nodes.nodes().size() == 1; }));
    ASSERT_TRUE(awaitReaders(other, 0));
    keyboard.type(KEY_M);
    EXPECT_EQ(presses(), 0);
    chord();
    EXPECT_EQ(presses(), 1);
}

TEST_F(EvdevHotKeyServiceTest, ModifiersThatAreHeldAtTheStartCountAndAKeyThatIsDownIsNoPress) {
    hold(keyboard, {KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTMETA, KEY_M});
    claim();
    keyboard.key(KEY_M, 2);
    letGo(keyboard, {KEY_M});
    keyboard.type(KEY_M);
    letGo(keyboard, {KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTMETA});
    EXPECT_EQ(presses(), 1);
}

TEST_F(EvdevHotKeyServiceTest, WhatWasMissedIsNoPress) {
    claim();
    const int reads = keyboard.stateReads();
    keyboard.overflow({KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTMETA, KEY_M}, {});
    {
        QTimer tick;
        tick.start(1);
        ASSERT_TRUE(test::runUntil([&] { return keyboard.stateReads() > reads; }));
    }
    letGo(keyboard, {KEY_M});
    keyboard.type(KEY_M);
    letGo(keyboard, {KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTMETA});
    EXPECT_EQ(presses(), 1);
}

TEST_F(EvdevHotKeyServiceTest, TheLetterIsWhereTheKeymapHasIt) {
    qputenv("XKB_DEFAULT_LAYOUT", "fr"); // its M is where others have the semicolon
    claim();
    chord();
    EXPECT_EQ(presses(), 0);
    chord({KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTMETA}, KEY_SEMICOLON);
    EXPECT_EQ(presses(), 1);
}

TEST_F(EvdevHotKeyServiceTest, ASwitchOfTheLayoutIsFollowed) {
    qputenv("XKB_DEFAULT_LAYOUT", "us,fr");
    qputenv("XKB_DEFAULT_OPTIONS", "grp:rctrl_toggle");
    claim();
    chord();
    keyboard.type(KEY_RIGHTCTRL);
    chord();
    EXPECT_EQ(presses(), 1);
    chord({KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTMETA}, KEY_SEMICOLON);
    EXPECT_EQ(presses(), 1);
}

TEST_F(EvdevHotKeyServiceTest, FollowsTheMachinesKeymapAlsoWithModifiersHeld) {
    claim();
    hold(keyboard, {KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTMETA});
    EXPECT_EQ(presses(), 0);
    keymap.set({"pc105", "fr", "", ""});
    keyboard.type(KEY_M); // a comma there
    EXPECT_EQ(presses(), 0);
    keyboard.type(KEY_SEMICOLON);
    EXPECT_EQ(presses(), 1);
}

TEST_F(EvdevHotKeyServiceTest, ItNeedsNoTapAndTakesNothingFromOne) {
    struct Listener : KeyTap::Listener {
        void keyEvent(const KeyEvent& event) override {
            letters += event.type == keyDownEventType && event.keyCode == neutralKeyCode;
        }
        void tapDisabled(TapDisabledReason) override {}
        int letters = 0;
    } listener;
    FixedKeymap tapKeymap;
    EvdevKeyTap tap(keyboards, {tapKeymap, time, log});
    claim();
    ASSERT_TRUE(tap.install(listener));
    EXPECT_EQ(keyboard.readers(), 1);
    chord();
    EXPECT_EQ(presses(), 1);
    EXPECT_EQ(listener.letters, 1);
    tap.remove();
    chord();
    EXPECT_EQ(presses(), 1);
    EXPECT_EQ(listener.letters, 1);
    EXPECT_FALSE(keyboard.grabbed());
}

TEST_F(EvdevHotKeyServiceTest, ATapThatIsInstalledLaterKnowsWhatIsHeld) {
    struct Listener : KeyTap::Listener {
        void keyEvent(const KeyEvent& event) override { last = event; }
        void tapDisabled(TapDisabledReason) override {}
        KeyEvent last;
    } listener;
    claim();
    hold(keyboard, {KEY_LEFTCTRL});
    EXPECT_EQ(presses(), 0);
    FixedKeymap tapKeymap;
    EvdevKeyTap tap(keyboards, {tapKeymap, time, log});
    ASSERT_TRUE(tap.install(listener));
    keyboard.key(KEY_A, 1);
    EXPECT_TRUE(test::runUntil([&] { return listener.last.type == keyDownEventType; }));
    EXPECT_EQ(listener.last.flags, 0x1u);
}

TEST_F(EvdevHotKeyServiceTest, KeyboardsAreReadOnlyWhileAShortcutIsRegistered) {
    EXPECT_EQ(keyboard.readers(), 0);
    EXPECT_EQ(service.delivery().way, Way::none);
    const auto reference = service.registerHotKey(muteKey, muteModifiers, mute);
    ASSERT_TRUE(reference);
    EXPECT_TRUE(awaitReaders(keyboard, 1));
    EXPECT_EQ(service.delivery().way, Way::keyboards);
    service.unregisterHotKey(reference.value());
    EXPECT_TRUE(awaitReaders(keyboard, 0));
    EXPECT_EQ(service.delivery().way, Way::none);
}

TEST_F(EvdevHotKeyServiceTest, KeyboardsThatBecomeReadableAreListenedTo) {
    keyboard.setMode(0);
    claim();
    EXPECT_EQ(service.delivery().way, Way::none);
    std::vector<Way> told;
    service.setDeliveryHandler([&] { told.push_back(service.delivery().way); });
    keyboard.setMode(0600);
    nodes.refresh();
    ASSERT_TRUE(awaitReaders(keyboard, 1));
    EXPECT_EQ(told, std::vector{Way::keyboards});
    chord();
    EXPECT_EQ(presses(), 1);
    keyboard.setMode(0);
    nodes.refresh();
    EXPECT_EQ(told.back(), Way::none);
}

TEST_F(EvdevHotKeyServiceTest, AHandlerMayGiveTheShortcutUp) {
    const auto reference = service.registerHotKey(muteKey, muteModifiers, mute);
    ASSERT_TRUE(reference);
    int toggled = 0;
    service.installHandler([&](const auto&) {
        ++toggled;
        service.unregisterHotKey(reference.value());
        return hotKeyNoErr;
    });
    chord();
    chord();
    EXPECT_TRUE(awaitReaders(keyboard, 0));
    EXPECT_EQ(toggled, 1);
}

TEST_F(EvdevHotKeyServiceTest, AnUnknownKeyIsRefusedAsInvalid) {
    const auto refused = service.registerHotKey(3, muteModifiers, mute);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error(), eventHotKeyInvalidErr);
    EXPECT_EQ(keyboard.readers(), 0);
}

TEST_F(EvdevHotKeyServiceTest, WhereTheKeymapIsUnknownItIsThatOfTheUSLayout) {
    qputenv("XKB_DEFAULT_LAYOUT", "no such layout");
    claim();
    chord();
    EXPECT_EQ(presses(), 1);
}

} // namespace
} // namespace morvel
