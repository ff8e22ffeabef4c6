// Keyboards are umockdev's: what the kernel tells a reader is written by hand, what the tap asks
// the kernel is answered by hand, and udev's library reads a tree of the test's own.

#include "platform/linux/EvdevKeyTap.h"
#include "platform/linux/SystemClock.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/VirtualTime.h"
#include "tests/platform/FixedKeymap.h"
#include "tests/support/InputDevices.h"
#include "tests/support/MainLoop.h"

#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <QCoreApplication>
#include <QTimer>
#include <algorithm>
#include <ctime>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace morvel {
namespace {

using test::InputDevice;
using test::InputDevices;

constexpr std::int64_t escapeCode = 53;

class Listener : public KeyTap::Listener {
public:
    void keyEvent(const KeyEvent& event) override {
        events.push_back(event);
        if (heard)
            heard();
    }
    void tapDisabled(TapDisabledReason) override { ADD_FAILURE() << "the kernel disables no tap"; }

    std::vector<KeyEvent> events;
    std::function<void()> heard;
};

std::vector<std::int64_t> codes(const std::vector<KeyEvent>& events) {
    std::vector<std::int64_t> result;
    for (const KeyEvent& event : events)
        result.push_back(event.keyCode);
    return result;
}

class EvdevKeyTapTest : public testing::Test {
protected:
    EvdevKeyTapTest() {
        for (const char* name : {"RULES", "MODEL", "LAYOUT", "VARIANT", "OPTIONS"})
            qunsetenv((std::string("XKB_DEFAULT_") + name).c_str());
    }

    // What the tap hands on meanwhile: Escape at the end, whose release proves that all before it
    // has arrived.
    std::vector<KeyEvent> eventsOf(const std::function<void()>& typing, InputDevice& last) {
        listener.events.clear();
        typing();
        last.type(KEY_ESC);
        EXPECT_TRUE(test::runUntil([this] {
            return !listener.events.empty() && listener.events.back().keyCode == escapeCode &&
                   listener.events.back().type == keyUpEventType;
        }));
        std::vector<KeyEvent> events = listener.events;
        if (events.size() >= 2)
            events.resize(events.size() - 2);
        return events;
    }
    std::vector<KeyEvent> eventsOf(const std::function<void()>& typing) {
        return eventsOf(typing, keyboard);
    }

    // Runs the loop, in which keyboards are opened, until then. The kernel's side has a thread of
    // its own, which wakes no loop.
    static bool awaitThat(const std::function<bool()>& done) {
        QTimer tick;
        tick.start(1);
        return test::runUntil(done);
    }
    static bool awaitReaders(const InputDevice& device, int readers) {
        return awaitThat([&device, readers] { return device.readers() == readers; });
    }

    SystemClock clock;
    InputDevices devices;
    InputDevice& keyboard = devices.plug(InputDevices::keyboard());
    KeyboardNodes nodes{"seat0"};
    Listener listener;
    EvdevKeyboards keyboards{nodes};
    FixedKeymap keymap;
    VirtualTime time;
    SimulatedLog log;
    EvdevKeyTap tap{keyboards, {keymap, time, log}};
};

TEST_F(EvdevKeyTapTest, LettersArriveAsNeutralKeysWithTheKernelsTimeOnTheHostClock) {
    ASSERT_TRUE(tap.install(listener));
    EXPECT_EQ(keyboard.clock(), CLOCK_MONOTONIC);
    const std::uint64_t pressed = clock.hostNanos() / 1000 * 1000;
    const std::uint64_t released = pressed + 81234000;
    const auto events = eventsOf([&] {
        keyboard.key(KEY_A, 1, pressed);
        keyboard.key(KEY_A, 0, released);
        keyboard.type(KEY_7);
    });
    ASSERT_EQ(codes(events), std::vector<std::int64_t>(4, neutralKeyCode));
    EXPECT_EQ(events[0].type, keyDownEventType);
    EXPECT_EQ(events[0].timestampNanos, pressed);
    EXPECT_EQ(events[1].type, keyUpEventType);
    EXPECT_EQ(events[1].timestampNanos, released);
    for (const KeyEvent& event : events)
        EXPECT_EQ(event.autoRepeat, 0);
}

TEST_F(EvdevKeyTapTest, NamedKeysArriveWithTheirOwnCodes) {
    ASSERT_TRUE(tap.install(listener));
    const auto events = eventsOf([&] {
        for (const int key :
             {KEY_SPACE, KEY_ENTER, KEY_KPENTER, KEY_TAB, KEY_BACKSPACE, KEY_DELETE})
            keyboard.type(key);
    });
    EXPECT_EQ(codes(events),
              (std::vector<std::int64_t>{49, 49, 36, 36, 76, 76, 48, 48, 51, 51, 117, 117}));
}

TEST_F(EvdevKeyTapTest, ModifiersArriveAsChangesOfTheFlagsOfTheirSide) {
    ASSERT_TRUE(tap.install(listener));
    const auto events = eventsOf([&] {
        keyboard.key(KEY_LEFTSHIFT, 1);
        keyboard.key(KEY_RIGHTSHIFT, 1);
        keyboard.key(KEY_LEFTSHIFT, 0);
        keyboard.key(KEY_RIGHTSHIFT, 0);
        keyboard.type(KEY_RIGHTCTRL);
        keyboard.type(KEY_LEFTALT);
        keyboard.type(KEY_LEFTMETA);
        keyboard.type(KEY_FN);
    });
    ASSERT_EQ(codes(events),
              (std::vector<std::int64_t>{56, 60, 56, 60, 62, 62, 58, 58, 55, 55, 63, 63}));
    const std::uint64_t flags[] = {0x2, 0x6, 0x4, 0, 0x2000, 0, 0x20, 0, 0x8, 0, 0x800000, 0};
    for (std::size_t i = 0; i < events.size(); ++i) {
        EXPECT_EQ(events[i].type, flagsChangedEventType) << i;
        EXPECT_EQ(events[i].flags, flags[i]) << i;
    }
}

TEST_F(EvdevKeyTapTest, ARepeatOfTheKernelsAndAPressOfAHeldKeyAreRepeats) {
    ASSERT_TRUE(tap.install(listener));
    const auto events = eventsOf([&] {
        keyboard.key(KEY_A, 1);
        keyboard.key(KEY_A, 2);
        keyboard.key(KEY_A, 1);
        keyboard.key(KEY_A, 0);
        keyboard.key(KEY_LEFTSHIFT, 1);
        keyboard.key(KEY_LEFTSHIFT, 2);
        keyboard.key(KEY_LEFTSHIFT, 0);
    });
    ASSERT_EQ(codes(events), (std::vector<std::int64_t>{0, 0, 0, 0, 56, 56}));
    EXPECT_EQ(events[0].autoRepeat, 0);
    EXPECT_NE(events[1].autoRepeat, 0);
    EXPECT_NE(events[2].autoRepeat, 0);
    EXPECT_EQ(events[3].type, keyUpEventType);
}

TEST_F(EvdevKeyTapTest, OneKeyOnTwoKeyboardsIsTwoKeys) {
    InputDevice& other = devices.plug(InputDevices::keyboard());
    ASSERT_TRUE(tap.install(listener));
    ASSERT_TRUE(awaitReaders(other, 1));
    const auto first = eventsOf([&] { keyboard.key(KEY_A, 1); });
    const auto second = eventsOf([&] { other.key(KEY_A, 1); }, other);
    ASSERT_EQ(first.size(), 1u);
    ASSERT_EQ(second.size(), 1u);
    EXPECT_EQ(first[0].autoRepeat, 0);
    EXPECT_EQ(second[0].autoRepeat, 0);
}

TEST_F(EvdevKeyTapTest, AKeyboardThatIsPluggedInIsHeard) {
    ASSERT_TRUE(tap.install(listener));
    InputDevice& other = devices.plug(InputDevices::keyboard());
    ASSERT_TRUE(awaitReaders(other, 1));
    const auto events = eventsOf([&] { other.type(KEY_SPACE); }, other);
    EXPECT_EQ(codes(events), (std::vector<std::int64_t>{49, 49}));
}

TEST_F(EvdevKeyTapTest, AKeyboardThatIsUnpluggedLetsGoOfItsKeysWithoutASound) {
    InputDevice& other = devices.plug(InputDevices::keyboard());
    ASSERT_TRUE(tap.install(listener));
    ASSERT_TRUE(awaitReaders(other, 1));
    const auto held = eventsOf(
        [&] {
            other.key(KEY_LEFTSHIFT, 1);
            other.key(KEY_A, 1);
        },
        other);
    ASSERT_EQ(held.size(), 2u);
    listener.events.clear();
    other.unplug();
    ASSERT_TRUE(test::runUntil([this] { return nodes.nodes().size() == 1; }));
    ASSERT_TRUE(awaitReaders(other, 0));
    const auto events = eventsOf([&] { keyboard.type(KEY_A); });
    ASSERT_EQ(codes(events), (std::vector<std::int64_t>{0, 0}));
    EXPECT_EQ(events[0].flags, 0u);
}

// As after the machine has slept: the file is another one of the same name.
TEST_F(EvdevKeyTapTest, ARevokedKeyboardIsLetGoAndHeardAgainWhenUdevAnnouncesIt) {
    InputDevice& other = devices.plug(InputDevices::keyboard());
    ASSERT_TRUE(tap.install(listener));
    ASSERT_TRUE(awaitReaders(other, 1));
    ASSERT_EQ(eventsOf([&] { keyboard.key(KEY_LEFTCTRL, 1); }).size(), 1u);
    keyboard.revoke();
    ASSERT_TRUE(awaitReaders(keyboard, 0));
    const auto without = eventsOf([&] { other.type(KEY_A); }, other);
    ASSERT_EQ(codes(without), (std::vector<std::int64_t>{0, 0}));
    EXPECT_EQ(without[0].flags, 0u);
    keyboard.key(KEY_LEFTCTRL, 0); // nobody hears it
    keyboard.uevent("add");
    ASSERT_TRUE(awaitReaders(keyboard, 1));
    const auto events = eventsOf([&] { keyboard.type(KEY_SPACE); });
    ASSERT_EQ(codes(events), (std::vector<std::int64_t>{49, 49}));
    EXPECT_EQ(events[0].flags, 0u);
}

TEST_F(EvdevKeyTapTest, AnUnreadableKeyboardIsSkippedAndHeardOnceUdevSaysThatItIsReadable) {
    InputDevice& other = devices.plug(InputDevices::keyboard(), 0);
    ASSERT_TRUE(tap.install(listener));
    EXPECT_EQ(other.readers(), 0);
    other.setMode(0600);
    other.uevent("change");
    ASSERT_TRUE(awaitReaders(other, 1));
    const auto events = eventsOf([&] { other.type(KEY_TAB); }, other);
    EXPECT_EQ(codes(events), (std::vector<std::int64_t>{48, 48}));
}

TEST_F(EvdevKeyTapTest, APermissionThatComesOrGoesWithoutAWordOfUdevIsSeenAtTheNextLook) {
    EvdevTrustSource trust(nodes, nullptr);
    InputDevice& other = devices.plug(InputDevices::keyboard(), 0);
    ASSERT_TRUE(tap.install(listener));
    ASSERT_TRUE(test::runUntil([this] { return nodes.nodes().size() == 2; }));
    other.setMode(0600);
    EXPECT_TRUE(trust.isTrusted());
    EXPECT_TRUE(awaitReaders(other, 1));
    keyboard.setMode(0);
    EXPECT_TRUE(trust.isTrusted());
    EXPECT_TRUE(awaitReaders(keyboard, 0));
}

TEST_F(EvdevKeyTapTest, WhatWasMissedInAnOverflowMakesNoSoundAndLeavesNoKeyStuck) {
    ASSERT_TRUE(tap.install(listener));
    const auto events = eventsOf([&] {
        keyboard.key(KEY_LEFTSHIFT, 1);
        // From then to its question which keys are down the reader drops all that comes.
        const int reads = keyboard.stateReads();
        keyboard.overflow({KEY_B}, {KEY_LEFTSHIFT}, true);
        EXPECT_TRUE(awaitThat([this, reads] { return keyboard.stateReads() > reads; }));
        keyboard.type(KEY_A);
        keyboard.key(KEY_B, 0);
    });
    // Shift down; then nothing of the overflow; the letter, and the missed key's release.
    ASSERT_EQ(codes(events), (std::vector<std::int64_t>{56, 0, 0, 0}));
    EXPECT_EQ(events[1].type, keyDownEventType);
    EXPECT_EQ(events[1].flags, modifierFlag(capsLockKeyCode));
    EXPECT_EQ(events[1].autoRepeat, 0);
    EXPECT_EQ(events[3].type, keyUpEventType);
}

TEST_F(EvdevKeyTapTest, CapsLockArrivesWhenItsLightChanges) {
    ASSERT_TRUE(tap.install(listener));
    const auto on = eventsOf([&] {
        keyboard.type(KEY_CAPSLOCK); // no session is there to put the light on
        keyboard.light(true);
    });
    ASSERT_EQ(codes(on), (std::vector<std::int64_t>{capsLockKeyCode}));
    EXPECT_EQ(on[0].type, flagsChangedEventType);
    EXPECT_EQ(on[0].flags, modifierFlag(capsLockKeyCode));
    EXPECT_NE(on[0].timestampNanos, 0u);
    const auto off = eventsOf([&] { keyboard.light(false); });
    ASSERT_EQ(off.size(), 1u);
    EXPECT_EQ(off[0].flags, 0u);
}

TEST_F(EvdevKeyTapTest, TheLightsOfTwoKeyboardsAreOneLock) {
    InputDevice& other = devices.plug(InputDevices::keyboard());
    ASSERT_TRUE(tap.install(listener));
    ASSERT_TRUE(awaitReaders(other, 1));
    EXPECT_EQ(eventsOf([&] { keyboard.light(true); }).size(), 1u);
    EXPECT_EQ(eventsOf([&] { other.light(true); }, other).size(), 0u);
}

TEST_F(EvdevKeyTapTest, ALightThatIsOnAtTheStartIsKnown) {
    keyboard.light(true);
    ASSERT_TRUE(tap.install(listener));
    const auto letters = eventsOf([&] { keyboard.type(KEY_A); });
    ASSERT_EQ(letters.size(), 2u);
    EXPECT_EQ(letters[0].flags, modifierFlag(capsLockKeyCode));
}

TEST_F(EvdevKeyTapTest, WithoutALightCapsLockGoesByWhatTheKeymapMakesOfTheKey) {
    keyboard.unplug();
    auto dark = InputDevices::keyboard();
    dark.capsLockLight = false;
    InputDevice& other = devices.plug(dark);
    ASSERT_TRUE(test::runUntil(
        [&] { return !nodes.nodes().empty() && nodes.nodes().front().path == other.node(); }));
    ASSERT_TRUE(tap.install(listener));
    const auto events = eventsOf(
        [&] {
            other.type(KEY_CAPSLOCK);
            other.type(KEY_CAPSLOCK);
        },
        other);
    ASSERT_EQ(codes(events), (std::vector<std::int64_t>{capsLockKeyCode, capsLockKeyCode}));
    EXPECT_EQ(events[0].flags, modifierFlag(capsLockKeyCode));
    EXPECT_EQ(events[1].flags, 0u);
}

TEST_F(EvdevKeyTapTest, ACapsLockRemappedToControlIsAControl) {
    qputenv("XKB_DEFAULT_OPTIONS", "ctrl:nocaps");
    ASSERT_TRUE(tap.install(listener));
    const auto events = eventsOf([&] { keyboard.type(KEY_CAPSLOCK); });
    ASSERT_EQ(codes(events), (std::vector<std::int64_t>{59, 59}));
    EXPECT_EQ(events[0].flags, 0x1u);
}

TEST_F(EvdevKeyTapTest, ACapsLockKeyThatActsAsControlIsAControl) {
    qputenv("XKB_DEFAULT_OPTIONS", "caps:ctrl_modifier");
    ASSERT_TRUE(tap.install(listener));
    const auto events = eventsOf([&] { keyboard.type(KEY_CAPSLOCK); });
    ASSERT_EQ(codes(events), (std::vector<std::int64_t>{59, 59}));
    EXPECT_EQ(events[1].flags, 0u);
}

TEST_F(EvdevKeyTapTest, ASwitchOfTheLayoutByTheKeymapsOwnKeyIsFollowed) {
    // The second layout makes the backslash key a third-level shift.
    qputenv("XKB_DEFAULT_LAYOUT", "us,de");
    qputenv("XKB_DEFAULT_VARIANT", ",neo");
    qputenv("XKB_DEFAULT_OPTIONS", "grp:rctrl_toggle");
    ASSERT_TRUE(tap.install(listener));
    const auto events = eventsOf([&] {
        keyboard.type(KEY_BACKSLASH);
        keyboard.type(KEY_RIGHTCTRL);
        keyboard.type(KEY_BACKSLASH);
    });
    EXPECT_EQ(codes(events), (std::vector<std::int64_t>{0, 0, 0, 0, 61, 61}));
}

TEST_F(EvdevKeyTapTest, OnlyKeysAndLightsAreAskedForAndNothingIsTakenFromOthers) {
    ASSERT_TRUE(tap.install(listener));
    EXPECT_EQ(keyboard.eventTypes(), 1UL << EV_KEY | 1UL << EV_LED);
    EXPECT_FALSE(keyboard.grabbed());
}

TEST_F(EvdevKeyTapTest, AModifierThatIsHeldAtTheStartIsKnown) {
    keyboard.key(KEY_LEFTSHIFT, 1);
    ASSERT_TRUE(tap.install(listener));
    const auto events = eventsOf([&] {
        keyboard.type(KEY_A);
        keyboard.key(KEY_LEFTSHIFT, 0);
    });
    ASSERT_EQ(codes(events), (std::vector<std::int64_t>{0, 0, 56}));
    EXPECT_EQ(events[0].flags, 0x2u);
    EXPECT_EQ(events[2].flags, 0u);
}

TEST_F(EvdevKeyTapTest, ARemovedTapReadsNothingAndCanBeInstalledAgain) {
    ASSERT_TRUE(tap.install(listener));
    tap.remove();
    ASSERT_TRUE(awaitReaders(keyboard, 0));
    keyboard.type(KEY_A);
    ASSERT_TRUE(tap.install(listener));
    const auto events = eventsOf([&] { keyboard.type(KEY_SPACE); });
    EXPECT_EQ(codes(events), (std::vector<std::int64_t>{49, 49}));
}

TEST_F(EvdevKeyTapTest, AListenerMayRemoveTheTapWhileItHears) {
    ASSERT_TRUE(tap.install(listener));
    listener.heard = [this] { tap.remove(); };
    keyboard.type(KEY_A);
    keyboard.type(KEY_B);
    ASSERT_TRUE(test::runUntil([this] { return !listener.events.empty(); }));
    ASSERT_TRUE(awaitReaders(keyboard, 0));
    EXPECT_EQ(listener.events.size(), 1u);
}

TEST_F(EvdevKeyTapTest, WhereNoKeyboardCanBeReadNothingIsInstalled) {
    keyboard.setMode(0);
    EXPECT_FALSE(tap.install(listener));
    keyboard.setMode(0600);
    EXPECT_TRUE(tap.install(listener));
}

TEST_F(EvdevKeyTapTest, OnlyWhatOneTypesWithIsAKeyboard) {
    // The queue of those that listen is short.
    const auto plug = [this](const InputDevice::Setup& setup) -> InputDevice& {
        InputDevice& device = devices.plug(setup);
        QCoreApplication::processEvents();
        return device;
    };
    plug({{BTN_LEFT, BTN_RIGHT}, false, {{"ID_INPUT_MOUSE", "1"}}});
    plug({{KEY_POWER}, false, {{"ID_INPUT_KEY", "1"}}});
    plug({{}, false, {{"ID_INPUT_SWITCH", "1"}}});
    plug({{KEY_VOLUMEUP, KEY_PLAYPAUSE, KEY_LEFTMETA}, false, {{"ID_INPUT_KEY", "1"}}});
    plug({{KEY_A}, false, {{"ID_INPUT_JOYSTICK", "1"}}});
    const auto& keypad = plug({{KEY_KP0, KEY_KPENTER}, false, {{"ID_INPUT_KEY", "1"}}});
    const auto& pedal = plug({{KEY_LEFTCTRL}, false, {{"ID_INPUT_KEY", "1"}}});
    const auto& pad =
        plug({{KEY_A, KEY_F13}, false, {{"ID_INPUT_KEY", "1"}, {"ID_SEAT", "seat0"}}});
    plug({{KEY_A}, false, {{"ID_INPUT_KEYBOARD", "1"}, {"ID_SEAT", "seat-other"}}});
    const KeyboardNodes fresh("seat0");
    const KeyboardNodes other("seat-other");
    std::vector<std::string> paths;
    for (const auto& node : fresh.nodes())
        paths.push_back(node.path);
    std::sort(paths.begin(), paths.end(), [](const std::string& a, const std::string& b) {
        return std::pair(a.size(), a) < std::pair(b.size(), b);
    });
    EXPECT_EQ(paths,
              (std::vector<std::string>{keyboard.node(), keypad.node(), pedal.node(), pad.node()}));
    EXPECT_EQ(other.nodes().size(), 1u);
}

TEST_F(EvdevKeyTapTest, TrustIsWhetherOneKeyboardCanBeRead) {
    int asked = 0;
    EvdevTrustSource trust(nodes, [&asked] { ++asked; });
    EXPECT_TRUE(trust.isTrusted());
    EXPECT_TRUE(trust.prompt());
    EXPECT_EQ(asked, 0);
    keyboard.setMode(0);
    EXPECT_FALSE(trust.isTrusted());
    EXPECT_FALSE(trust.prompt());
    EXPECT_EQ(asked, 1);
    keyboard.setMode(0600);
    EXPECT_TRUE(trust.isTrusted());
}

TEST_F(EvdevKeyTapTest, TrustIsNoneOfAMouseThatCanBeRead) {
    devices.plug({{BTN_LEFT}, false, {{"ID_INPUT_MOUSE", "1"}}});
    keyboard.setMode(0);
    KeyboardNodes fresh("seat0");
    EXPECT_FALSE(EvdevTrustSource(fresh, nullptr).isTrusted());
}

TEST_F(EvdevKeyTapTest, TheLastKeyboardThatIsUnpluggedTakesNoTrustAlong) {
    EvdevTrustSource trust(nodes, nullptr);
    ASSERT_TRUE(trust.isTrusted());
    ASSERT_TRUE(tap.install(listener));
    keyboard.unplug();
    ASSERT_TRUE(test::runUntil([this] { return nodes.nodes().empty(); }));
    EXPECT_TRUE(trust.isTrusted());
    InputDevice& other = devices.plug(InputDevices::keyboard());
    ASSERT_TRUE(awaitReaders(other, 1));
    EXPECT_EQ(codes(eventsOf([&] { other.type(KEY_SPACE); }, other)),
              (std::vector<std::int64_t>{49, 49}));
}

TEST(EvdevKeyTap, WithoutAnyKeyboardThereIsNoTrustAndATapThatWaitsForOne) {
    InputDevices devices;
    KeyboardNodes nodes("seat0");
    EvdevTrustSource trust(nodes, nullptr);
    EXPECT_FALSE(trust.isTrusted());
    Listener listener;
    EvdevKeyboards keyboards(nodes);
    FixedKeymap keymap;
    VirtualTime time;
    SimulatedLog log;
    EvdevKeyTap tap(keyboards, {keymap, time, log});
    ASSERT_TRUE(tap.install(listener));
    InputDevice& keyboard = devices.plug(InputDevices::keyboard());
    QTimer tick; // wakes the loop for what another thread counts
    tick.start(1);
    EXPECT_TRUE(test::runUntil([&keyboard] { return keyboard.readers() == 1; }));
    EXPECT_TRUE(trust.isTrusted());
}

} // namespace
} // namespace morvel
