// Several login sessions at one seat: who hears its keyboards when.

#include "platform/linux/EvdevKeyTap.h"
#include "platform/simulated/SimulatedLoginSession.h"
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
    KeyboardNodes nodes{session};
    EvdevTrustSource trust{nodes, nullptr};
    Listener listener;
    EvdevKeyTap tap{nodes};
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
    keyboard.type(KEY_A);
    keyboard.uevent("change");
    InputDevice& other = devices.plug(InputDevices::keyboard());
    trust.isTrusted();
    EXPECT_TRUE(awaitReaders(other, 0));
    EXPECT_TRUE(nodes.nodes().empty());
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

TEST_F(KeyboardSessionTest, ASessionWithoutASeatHearsNobody) {
    session.setSeat("");
    EXPECT_TRUE(nodes.nodes().empty());
    KeyboardNodes fresh(session);
    EXPECT_TRUE(fresh.nodes().empty());
    EXPECT_FALSE(EvdevTrustSource(fresh, nullptr).isTrusted());
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
