// Keyboards that are this session's to hear for a time only, and those that count for trust.

#include "platform/linux/EvdevKeyTap.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/SimulatedLoginSession.h"
#include "platform/simulated/VirtualTime.h"
#include "tests/platform/FixedKeymap.h"
#include "tests/support/InputDevices.h"
#include "tests/support/MainLoop.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <libudev.h>
#include <linux/input-event-codes.h>

#include <QCoreApplication>
#include <QTimer>
#include <cerrno>
#include <string>
#include <utility>
#include <vector>

// Stands before the library's: as when more happens than the kernel keeps for a reader.
static bool newsAreLost = false;
extern "C" udev_device* udev_monitor_receive_device(udev_monitor* monitor) {
    static const auto receive = reinterpret_cast<udev_device* (*)(udev_monitor*)>(
        ::dlsym(RTLD_NEXT, "udev_monitor_receive_device"));
    if (!newsAreLost)
        return receive(monitor);
    newsAreLost = false;
    while (udev_device* const device = receive(monitor))
        udev_device_unref(device);
    errno = ENOBUFS;
    return nullptr;
}

namespace morvel {
namespace {

using test::InputDevice;
using test::InputDevices;

constexpr std::int64_t spaceCode = 49;

class Listener : public KeyTap::Listener {
public:
    void keyEvent(const KeyEvent& event) override { events.push_back(event); }
    void tapDisabled(TapDisabledReason) override { ADD_FAILURE() << "the kernel disables no tap"; }

    std::vector<KeyEvent> events;
};

class KeyboardSessionTest : public testing::Test {
protected:
    static bool awaitReaders(const InputDevice& device, int readers) {
        QTimer tick; // wakes the loop for what another thread counts
        tick.start(1);
        return test::runUntil([&device, readers] { return device.readers() == readers; });
    }
    // Types a space, whose release proves that all before it has arrived.
    std::vector<KeyEvent> eventsUpToASpace() {
        keyboard.type(KEY_SPACE);
        EXPECT_TRUE(test::runUntil([this] {
            return !listener.events.empty() && listener.events.back().keyCode == spaceCode &&
                   listener.events.back().type == keyUpEventType;
        }));
        return std::exchange(listener.events, {});
    }

    InputDevices devices;
    InputDevice& keyboard = devices.plug(InputDevices::keyboard());
    SimulatedLoginSession session;
    SimulatedLog log;
    KeyboardNodes nodes{session, log};
    EvdevTrustSource trust{nodes, nullptr};
    Listener listener;
    FixedKeymap keymap;
    VirtualTime time;
    EvdevKeyboards keyboards{nodes};
    EvdevKeyTap tap{keyboards, {keymap, time, log}};
};

TEST_F(KeyboardSessionTest, AnotherSessionIsNotHeardAndTakesNoTrustAlong) {
    ASSERT_TRUE(trust.isTrusted());
    ASSERT_TRUE(tap.install(listener));
    ASSERT_TRUE(awaitReaders(keyboard, 1));
    session.setActive(false); // as for a user who may read the keyboard at all times
    EXPECT_TRUE(awaitReaders(keyboard, 0));
    EXPECT_TRUE(trust.isTrusted());
    keyboard.setMode(0); // as where logind moves the permission to the other user
    EXPECT_TRUE(trust.isTrusted());
    const KeyboardNodes witness{"seat0"}; // hears udev's news last
    keyboard.type(KEY_A);
    keyboard.uevent("change");
    InputDevice& other = devices.plug(InputDevices::keyboard());
    ASSERT_TRUE(test::runUntil([&witness] { return witness.nodes().size() == 2; }));
    QCoreApplication::processEvents();
    trust.isTrusted();
    EXPECT_TRUE(nodes.nodes().empty());
    EXPECT_FALSE(keyboards.any());
    EXPECT_EQ(keyboard.readers(), 0);
    EXPECT_EQ(other.readers(), 0);
    EXPECT_TRUE(listener.events.empty());
}

TEST_F(KeyboardSessionTest, ItsOwnKeyboardsAreHeardAgainAtOnceWithoutTheKeysOfBefore) {
    ASSERT_TRUE(tap.install(listener));
    keyboard.key(KEY_LEFTSHIFT, 1);
    const auto before = eventsUpToASpace();
    ASSERT_EQ(before.size(), 3u);
    EXPECT_EQ(before[1].flags, 0x2u);
    session.setActive(false);
    ASSERT_TRUE(awaitReaders(keyboard, 0));
    keyboard.key(KEY_LEFTSHIFT, 0); // in the other session
    session.setActive(true);
    ASSERT_TRUE(awaitReaders(keyboard, 1));
    const auto after = eventsUpToASpace();
    ASSERT_EQ(after.size(), 2u);
    EXPECT_EQ(after[0].flags, 0u);
    EXPECT_TRUE(trust.isTrusted());
}

TEST_F(KeyboardSessionTest, AKeyboardThatWasWithdrawnMeanwhileIsNoLongerTrusted) {
    ASSERT_TRUE(trust.isTrusted());
    session.setActive(false);
    keyboard.setMode(0);
    ASSERT_TRUE(trust.isTrusted());
    session.setActive(true);
    EXPECT_FALSE(trust.isTrusted());
}

TEST_F(KeyboardSessionTest, ATapThatIsInstalledMeanwhileWaitsForItsTurn) {
    session.setActive(false);
    ASSERT_TRUE(tap.install(listener));
    EXPECT_EQ(keyboard.readers(), 0);
    session.setActive(true);
    ASSERT_TRUE(awaitReaders(keyboard, 1));
    EXPECT_EQ(eventsUpToASpace().size(), 2u);
}

// Wake-up and unlocking both take every keyboard away for a while.
TEST_F(KeyboardSessionTest, AfterTheyAreAllLostAndBackAModifierIsHeldStillAndTheLockIsKnown) {
    InputDevice& other = devices.plug(InputDevices::keyboard());
    ASSERT_TRUE(tap.install(listener));
    ASSERT_TRUE(awaitReaders(keyboard, 1) && awaitReaders(other, 1));
    keyboard.key(KEY_LEFTSHIFT, 1);
    keyboard.key(KEY_CAPSLOCK, 1);
    ASSERT_EQ(eventsUpToASpace().size(), 3u);
    for (InputDevice* const device : {&keyboard, &other})
        device->revoke();
    ASSERT_TRUE(awaitReaders(keyboard, 0) && awaitReaders(other, 0));
    keyboard.key(KEY_CAPSLOCK, 0);
    for (InputDevice* const device : {&keyboard, &other}) {
        device->light(true); // late, and nobody hears it
        device->uevent("add");
    }
    ASSERT_TRUE(awaitReaders(keyboard, 1) && awaitReaders(other, 1));
    const auto after = eventsUpToASpace();
    ASSERT_EQ(after.size(), 2u);
    EXPECT_EQ(after[0].flags, 0x2u | modifierFlag(capsLockKeyCode));
    keyboard.key(KEY_LEFTSHIFT, 0);
    const auto released = eventsUpToASpace();
    ASSERT_EQ(released.size(), 3u);
    EXPECT_EQ(released[1].flags, modifierFlag(capsLockKeyCode));
}

// The keyboards are taken away from a session with the lock on or off, and come back with the light
// off, which the session then puts on where it locks still.
class KeyboardsAreBack : public KeyboardSessionTest {
protected:
    void takeAwayAndGiveBack(bool locked) {
        ASSERT_TRUE(tap.install(listener));
        ASSERT_TRUE(awaitReaders(keyboard, 1));
        if (locked) {
            keyboard.light(true);
            ASSERT_EQ(eventsUpToASpace().size(), 3u);
        }
        session.setActive(false);
        ASSERT_TRUE(awaitReaders(keyboard, 0));
        keyboard.light(false); // of the other session
        session.setActive(true);
        ASSERT_TRUE(awaitReaders(keyboard, 1));
    }
    std::size_t eventsOfTheLight(bool on) {
        keyboard.light(on);
        return eventsUpToASpace().size() - 2; // without the space
    }
};

TEST_F(KeyboardsAreBack, ALockThatTheSessionRestoresMakesNoSoundAndTheNextOneDoes) {
    takeAwayAndGiveBack(true);
    EXPECT_EQ(eventsOfTheLight(true), 0u);
    const auto letter = eventsUpToASpace();
    ASSERT_EQ(letter.size(), 2u);
    EXPECT_EQ(letter[0].flags, modifierFlag(capsLockKeyCode));
    EXPECT_EQ(eventsOfTheLight(false), 1u);
}

TEST_F(KeyboardsAreBack, ALockThatComesLongAfterIsNone) {
    takeAwayAndGiveBack(true);
    time.advance(1.1);
    EXPECT_EQ(eventsOfTheLight(true), 1u);
}

TEST_F(KeyboardsAreBack, ALockThatWasNotThereBeforeIsHeard) {
    takeAwayAndGiveBack(false);
    EXPECT_EQ(eventsOfTheLight(true), 1u);
}

TEST_F(KeyboardsAreBack, ALockThatIsPressedIsHeard) {
    takeAwayAndGiveBack(true);
    keyboard.type(KEY_CAPSLOCK);
    EXPECT_EQ(eventsOfTheLight(true), 1u);
}

TEST_F(KeyboardsAreBack, ALockThatIsRestoredOnlyTheSecondTimeMakesNoSoundEither) {
    takeAwayAndGiveBack(true);
    session.setActive(false);
    ASSERT_TRUE(awaitReaders(keyboard, 0));
    session.setActive(true);
    ASSERT_TRUE(awaitReaders(keyboard, 1));
    EXPECT_EQ(eventsOfTheLight(true), 0u);
}

TEST_F(KeyboardSessionTest, WhatWasLostOfUdevsNewsIsLookedForAnew) {
    InputDevice& second = devices.plug(InputDevices::keyboard());
    ASSERT_TRUE(tap.install(listener));
    ASSERT_TRUE(awaitReaders(second, 1));
    const auto first = nodes.nodes().front();
    InputDevice& third = devices.plug(InputDevices::keyboard());
    newsAreLost = true;
    second.unplug();
    ASSERT_TRUE(awaitReaders(third, 1));
    ASSERT_EQ(nodes.nodes().size(), 2u);
    EXPECT_EQ(nodes.nodes()[0].id, first.id);
    EXPECT_EQ(nodes.nodes()[1].path, third.node());
    EXPECT_EQ(eventsUpToASpace().size(), 2u);
}

TEST_F(KeyboardSessionTest, AGamepadThatCanBeReadMakesNoTrustWhileTheKeyboardCannot) {
    auto chatpad = InputDevices::keyboard();
    chatpad.properties["ID_INPUT_JOYSTICK"] = "1";
    InputDevice& gamepad = devices.plug(chatpad);
    ASSERT_TRUE(test::runUntil([this] { return nodes.nodes().size() == 2; }));
    keyboard.setMode(0);
    EXPECT_FALSE(trust.isTrusted());
    keyboard.setMode(0600);
    gamepad.setMode(0);
    EXPECT_TRUE(trust.isTrusted());
    gamepad.setMode(0600);
    ASSERT_TRUE(tap.install(listener));
    EXPECT_TRUE(awaitReaders(gamepad, 1)); // but it is heard
}

TEST_F(KeyboardSessionTest, AGamepadIsTheKeyboardWhereThereIsNoOther) {
    keyboard.unplug();
    auto chatpad = InputDevices::keyboard();
    chatpad.properties["ID_INPUT_JOYSTICK"] = "1";
    devices.plug(chatpad);
    KeyboardNodes fresh(session, log);
    EXPECT_TRUE(EvdevTrustSource(fresh, nullptr).isTrusted());
}

TEST_F(KeyboardSessionTest, ASessionWithoutASeatHearsNobody) {
    session.setSeat("");
    EXPECT_TRUE(nodes.nodes().empty());
    KeyboardNodes fresh(session, log);
    EXPECT_TRUE(fresh.nodes().empty());
    EXPECT_FALSE(EvdevTrustSource(fresh, nullptr).isTrusted());
}

TEST_F(KeyboardSessionTest, ThatTheyAreWithheldAndGivenBackIsLoggedOnceEach) {
    const std::string withheld =
        "[Morvel] The keyboards are not this session's at present — no key is heard";
    EXPECT_TRUE(log.lines().empty());
    session.setActive(false);
    session.setSeat("");
    EXPECT_EQ(log.lines(), std::vector<std::string>{withheld});
    KeyboardNodes fresh(session, log);
    EXPECT_EQ(log.lines(), (std::vector{withheld, withheld}));
    log.clear();
    session.setActive(true);
    session.setSeat("seat1");
    session.setSeat("seat0");
    EXPECT_EQ(log.lines(),
              std::vector<std::string>{"[Morvel] The keyboards are this session's again"});
}

TEST_F(KeyboardSessionTest, ItsSeatsKeyboardsAreHeardAndNoOthers) {
    auto setup = InputDevices::keyboard();
    setup.properties["ID_SEAT"] = "seat1";
    InputDevice& other = devices.plug(setup);
    ASSERT_TRUE(tap.install(listener));
    ASSERT_TRUE(awaitReaders(keyboard, 1));
    session.setSeat("seat1");
    EXPECT_TRUE(awaitReaders(keyboard, 0));
    EXPECT_TRUE(awaitReaders(other, 1));
}

} // namespace
} // namespace morvel
