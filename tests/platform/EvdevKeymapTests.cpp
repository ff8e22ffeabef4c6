// Which keymap a tap of the keyboards goes by, and Caps Lock keys that lock nothing.

#include "platform/linux/EvdevKeyTap.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/VirtualTime.h"
#include "tests/platform/FixedKeymap.h"
#include "tests/support/InputDevices.h"
#include "tests/support/MainLoop.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <libevdev/libevdev.h>
#include <linux/input-event-codes.h>

#include <QTimer>
#include <QtGlobal>
#include <cerrno>
#include <functional>
#include <string>
#include <utility>
#include <vector>

// Stands before the library's: as for a keyboard that goes while it is opened.
static bool keyboardsFail = false;
extern "C" int libevdev_new_from_fd(int file, libevdev** device) {
    static const auto open =
        reinterpret_cast<int (*)(int, libevdev**)>(::dlsym(RTLD_NEXT, "libevdev_new_from_fd"));
    return keyboardsFail ? -ENODEV : open(file, device);
}

namespace morvel {
namespace {

using test::InputDevice;
using test::InputDevices;

constexpr std::int64_t spaceCode = 49;

using Codes = std::vector<std::int64_t>;

class Listener : public KeyTap::Listener {
public:
    void keyEvent(const KeyEvent& event) override { events.push_back(event); }
    void tapDisabled(TapDisabledReason) override { ADD_FAILURE() << "the kernel disables no tap"; }

    std::vector<KeyEvent> events;
};

Codes codes(const std::vector<KeyEvent>& events) {
    Codes result;
    for (const KeyEvent& event : events)
        result.push_back(event.keyCode);
    return result;
}

class EvdevKeymapTest : public testing::Test {
protected:
    EvdevKeymapTest() {
        for (const char* name : {"RULES", "MODEL", "LAYOUT", "VARIANT", "OPTIONS"})
            qunsetenv((std::string("XKB_DEFAULT_") + name).c_str());
    }
    ~EvdevKeymapTest() override { keyboardsFail = false; }

    // What the tap hands on meanwhile and up to a space, whose release proves that all before it
    // has arrived.
    std::vector<KeyEvent> eventsOf(const std::function<void()>& typing) {
        typing();
        keyboard.type(KEY_SPACE);
        EXPECT_TRUE(test::runUntil([this] {
            return !listener.events.empty() && listener.events.back().keyCode == spaceCode &&
                   listener.events.back().type == keyUpEventType;
        }));
        auto events = std::exchange(listener.events, {});
        if (events.size() >= 2)
            events.resize(events.size() - 2);
        return events;
    }
    std::vector<KeyEvent> eventsLater() {
        time.advance(CapsLockWatch::longestAnswer + 0.01);
        return std::exchange(listener.events, {});
    }
    std::vector<KeyEvent> eventsMuchLater() {
        time.advance(CapsLockWatch::longestAnswer + CapsLockWatch::longestDelay + 0.01);
        return std::exchange(listener.events, {});
    }
    void press(int key) { keyboard.key(key, 1); }
    void release(int key) { keyboard.key(key, 0); }

    InputDevices devices;
    InputDevice& keyboard = devices.plug(InputDevices::keyboard());
    KeyboardNodes nodes{"seat0"};
    FixedKeymap keymap;
    VirtualTime time;
    SimulatedLog log;
    Listener listener;
    EvdevKeyboards keyboards{nodes};
    EvdevKeyTap tap{keyboards, {keymap, time, log}};
};

TEST_F(EvdevKeymapTest, IsTheMachines) {
    keymap.set({"pc105", "us", "", "ctrl:nocaps"});
    ASSERT_TRUE(tap.install(listener));
    EXPECT_EQ(codes(eventsOf([&] { keyboard.type(KEY_CAPSLOCK); })), (Codes{59, 59}));
}

TEST_F(EvdevKeymapTest, OfTheEnvironmentComesFirst) {
    qputenv("XKB_DEFAULT_OPTIONS", "caps:escape");
    keymap.set({"pc105", "de", "neo", "ctrl:nocaps"});
    ASSERT_TRUE(tap.install(listener));
    EXPECT_EQ(codes(eventsOf([&] { keyboard.type(KEY_CAPSLOCK); })), (Codes{53, 53}));
    // The layout is the machine's still: its backslash key is a third-level shift.
    EXPECT_EQ(codes(eventsOf([&] { keyboard.type(KEY_BACKSLASH); })), (Codes{61, 61}));
    tap.remove();
    qputenv("XKB_DEFAULT_LAYOUT", "us"); // and its variant
    ASSERT_TRUE(tap.install(listener));
    EXPECT_EQ(codes(eventsOf([&] { keyboard.type(KEY_BACKSLASH); })), (Codes{0, 0}));
}

TEST_F(EvdevKeymapTest, IsFollowedWhileKeysAreHeld) {
    ASSERT_TRUE(tap.install(listener));
    ASSERT_EQ(eventsOf([&] { press(KEY_LEFTSHIFT); }).size(), 1u);
    keymap.set({"pc105", "us", "", "ctrl:nocaps"});
    const auto events = eventsOf([&] {
        keyboard.type(KEY_CAPSLOCK);
        release(KEY_LEFTSHIFT);
    });
    ASSERT_EQ(codes(events), (Codes{59, 59, 56}));
    EXPECT_EQ(events[0].flags, 0x3u);
    EXPECT_EQ(events[2].flags, 0u);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(EvdevKeymapTest, ThatDoesNotExistIsSaidSoOnceAndTheUsOneStandsInForIt) {
    qputenv("XKB_DEFAULT_LAYOUT", "no such layout");
    ASSERT_TRUE(tap.install(listener));
    EXPECT_EQ(codes(eventsOf([&] {
                  keyboard.type(KEY_A);
                  keyboard.type(KEY_RIGHTCTRL);
              })),
              (Codes{0, 0, 62, 62}));
    EXPECT_EQ(log.lines(),
              std::vector<std::string>{"[Morvel] The keymap that is asked for does not exist — the "
                                       "keys are those of the US layout"});
}

TEST_F(EvdevKeymapTest, AKeyboardThatMayBeReadAndCannotBeOpenedIsTriedAgain) {
    keyboardsFail = true;
    ASSERT_TRUE(tap.install(listener));
    keyboardsFail = false;
    EvdevTrustSource(nodes, nullptr).isTrusted(); // as it is asked every two seconds
    EXPECT_EQ(codes(eventsOf([&] { keyboard.type(KEY_TAB); })), (Codes{48, 48}));
}

TEST_F(EvdevKeymapTest, ACapsLockKeyThatLocksNothingIsAnOrdinaryKey) {
    ASSERT_TRUE(tap.install(listener));
    EXPECT_EQ(eventsOf([&] { press(KEY_CAPSLOCK); }).size(), 0u);
    const auto late = eventsLater();
    ASSERT_EQ(codes(late), (Codes{0}));
    EXPECT_EQ(late[0].type, keyDownEventType);
    EXPECT_EQ(late[0].autoRepeat, 0);
    EXPECT_EQ(late[0].timestampNanos, 0u);
    const auto up = eventsOf([&] { release(KEY_CAPSLOCK); });
    ASSERT_EQ(codes(up), (Codes{0}));
    EXPECT_EQ(up[0].type, keyUpEventType);
    // It is known by now, and comes at once and once.
    EXPECT_EQ(codes(eventsOf([&] { keyboard.type(KEY_CAPSLOCK); })), (Codes{0, 0}));
    EXPECT_TRUE(eventsLater().empty());
}

TEST_F(EvdevKeymapTest, ACapsLockKeyThatWasReleasedMeanwhileSoundsWhole) {
    ASSERT_TRUE(tap.install(listener));
    EXPECT_EQ(eventsOf([&] { keyboard.type(KEY_CAPSLOCK); }).size(), 0u);
    const auto late = eventsLater();
    ASSERT_EQ(codes(late), (Codes{0, 0}));
    EXPECT_EQ(late[0].type, keyDownEventType);
    EXPECT_EQ(late[1].type, keyUpEventType);
}

TEST_F(EvdevKeymapTest, ACapsLockKeyThatTheLightAnswersSoundsOnceWheneverItIsReleased) {
    ASSERT_TRUE(tap.install(listener));
    EXPECT_EQ(codes(eventsOf([&] {
                  press(KEY_CAPSLOCK);
                  keyboard.light(true);
              })),
              Codes{capsLockKeyCode});
    EXPECT_TRUE(eventsLater().empty());
    EXPECT_TRUE(eventsOf([&] { release(KEY_CAPSLOCK); }).empty());
    EXPECT_TRUE(eventsLater().empty());
    // It unlocks when it comes up, however long it is held.
    EXPECT_TRUE(eventsOf([&] { press(KEY_CAPSLOCK); }).empty());
    EXPECT_TRUE(eventsLater().empty());
    EXPECT_EQ(codes(eventsOf([&] {
                  release(KEY_CAPSLOCK);
                  keyboard.light(false);
              })),
              Codes{capsLockKeyCode});
    EXPECT_TRUE(eventsLater().empty());
}

TEST_F(EvdevKeymapTest, ACapsLockKeyThatLocksAgainSoundsOnceAndIsALockFromThenOn) {
    ASSERT_TRUE(tap.install(listener));
    eventsOf([&] { keyboard.type(KEY_CAPSLOCK); });
    ASSERT_EQ(eventsLater().size(), 2u);
    EXPECT_EQ(codes(eventsOf([&] {
                  keyboard.type(KEY_CAPSLOCK);
                  keyboard.light(true);
              })),
              (Codes{0, 0}));
    const auto off = eventsOf([&] {
        keyboard.type(KEY_CAPSLOCK);
        keyboard.light(false);
    });
    ASSERT_EQ(codes(off), Codes{capsLockKeyCode});
    EXPECT_EQ(off[0].flags, 0u);
    EXPECT_TRUE(eventsLater().empty());
}

TEST_F(EvdevKeymapTest, ACapsLockKeyThatTheLightAnswersLateSoundsOnceAndIsALockFromThenOn) {
    ASSERT_TRUE(tap.install(listener));
    eventsOf([&] { keyboard.type(KEY_CAPSLOCK); });
    ASSERT_EQ(codes(eventsLater()), (Codes{0, 0}));
    time.advance(CapsLockWatch::longestDelay - 0.1);
    EXPECT_TRUE(eventsOf([&] { keyboard.light(true); }).empty());
    const auto letter = eventsOf([&] { keyboard.type(KEY_A); });
    ASSERT_EQ(letter.size(), 2u);
    EXPECT_EQ(letter[0].flags, modifierFlag(capsLockKeyCode));
    const auto off = eventsOf([&] {
        keyboard.type(KEY_CAPSLOCK);
        keyboard.light(false);
    });
    ASSERT_EQ(codes(off), Codes{capsLockKeyCode});
    EXPECT_EQ(off[0].flags, 0u);
    EXPECT_TRUE(eventsMuchLater().empty());
}

TEST_F(EvdevKeymapTest, ALightThatChangesByItselfIsHeardAndMakesNoKeyALock) {
    ASSERT_TRUE(tap.install(listener));
    eventsOf([&] { keyboard.type(KEY_CAPSLOCK); });
    ASSERT_EQ(eventsMuchLater().size(), 2u);
    EXPECT_EQ(codes(eventsOf([&] { keyboard.light(true); })), Codes{capsLockKeyCode});
    EXPECT_EQ(codes(eventsOf([&] { keyboard.type(KEY_CAPSLOCK); })), (Codes{0, 0}));
}

TEST_F(EvdevKeymapTest, ACapsLockKeyThatIsLostWithItsKeyboardIsNoOrdinaryKey) {
    ASSERT_TRUE(tap.install(listener));
    eventsOf([&] { press(KEY_CAPSLOCK); });
    keyboard.revoke();
    QTimer tick; // wakes the loop for what another thread counts
    tick.start(1);
    ASSERT_TRUE(test::runUntil([this] { return keyboard.readers() == 0; }));
    EXPECT_TRUE(eventsLater().empty());
}

} // namespace
} // namespace morvel
