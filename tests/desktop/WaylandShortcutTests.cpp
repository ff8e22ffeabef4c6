// The mute shortcut of the whole program in a session that lets no program claim a key: Qt draws
// into memory, and the portal, the bus and the keyboards are the test's own.

#include "platform/PreferredHotKeyService.h"
#include "tests/desktop/MorvelProcess.h"
#include "tests/support/BusServer.h"
#include "tests/support/InputDevices.h"
#include "tests/support/MainLoop.h"
#include "tests/support/PulseServer.h"
#include "tests/support/ShortcutPortal.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <QTimer>
#include <chrono>
#include <csignal>
#include <string>
#include <vector>

namespace morvel::test {
namespace {

constexpr std::chrono::milliseconds samePress(static_cast<int>(PreferredHotKeyService::samePress *
                                                               1000));

class WaylandShortcut : public testing::Test {
protected:
    WaylandShortcut() { sound.start(); }

    std::vector<std::string> session(const std::string& bus) const {
        return {"XDG_SESSION_TYPE=wayland", "WAYLAND_DISPLAY=wayland-of-the-test", "DISPLAY",
                "XDG_SEAT", "QT_QPA_PLATFORM=offscreen", "PULSE_SERVER=" + sound.address(),
                "DBUS_SESSION_BUS_ADDRESS=" + bus, "LD_PRELOAD=libumockdev-preload.so.0",
                // The library that redirects the program's calls stands before the sanitizer's.
                "ASAN_OPTIONS=detect_odr_violation=1:verify_asan_link_order=0"};
    }
    // The portal answers meanwhile.
    static bool logs(MorvelProcess& morvel, const std::string& text, std::size_t times = 1) {
        QTimer tick;
        tick.start(5);
        return runUntil([&] {
            morvel.drain();
            return morvel.count(text) >= times;
        });
    }
    void chord() {
        for (const int key : {KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTMETA})
            keyboard.key(key, 1);
        keyboard.type(KEY_M);
        for (const int key : {KEY_LEFTCTRL, KEY_LEFTALT, KEY_LEFTMETA})
            keyboard.key(key, 0);
    }
    static void end(MorvelProcess& morvel) {
        morvel.process().signal(SIGTERM);
        EXPECT_EQ(morvel.process().wait(std::chrono::seconds(10)), 0);
    }

    const TemporaryFolder folder;
    PulseServer sound{folder / "sound"}; // else ALSA is tried, where no device is the test's own
    InputDevices devices;
    InputDevice& keyboard = devices.plug(InputDevices::keyboard());
};

TEST_F(WaylandShortcut, MutesByThePortalWhileThereIsOneAndElseByTheKeyboards) {
    BusServer bus;
    ShortcutPortal portal(bus.address());
    portal.appear();
    MorvelProcess morvel(folder.path().string(), session(bus.address()));
    ASSERT_TRUE(logs(morvel, "Hotkey presses: the desktop listens for Ctrl+Alt+Super+M"));
    ASSERT_TRUE(logs(morvel, "event tap installed"));
    EXPECT_EQ(portal.registered, QStringList{"app.morvel.Morvel"});
    portal.press();
    EXPECT_TRUE(logs(morvel, "Mute toggled -> MUTED"));
    chord(); // the desktop's now
    portal.press();
    EXPECT_TRUE(logs(morvel, "Mute toggled -> SOUNDING"));

    portal.vanish();
    ASSERT_TRUE(logs(morvel, "Hotkey presses: looked for at the keyboards"));
    chord();
    EXPECT_TRUE(logs(morvel, "Mute toggled -> MUTED", 2));
    portal.appear();
    ASSERT_TRUE(logs(morvel, "Hotkey presses: the desktop listens for Ctrl+Alt+Super+M", 2));
    // Until then it would be the chord's press, which both have heard.
    runUntil([] { return false; }, 2 * samePress);
    portal.press();
    EXPECT_TRUE(logs(morvel, "Mute toggled -> SOUNDING", 2));
    end(morvel);
    morvel.drain();
    EXPECT_EQ(morvel.count("Mute toggled"), 4u);
}

TEST_F(WaylandShortcut, WhoDeclinesItHasNobodyLookForItAtTheKeyboards) {
    BusServer bus;
    ShortcutPortal portal(bus.address());
    portal.bindResponse = 1;
    portal.appear();
    auto environment = session(bus.address());
    environment.emplace_back("MORVEL_AUDIO_TRACE=1");
    MorvelProcess morvel(folder.path().string(), environment);
    ASSERT_TRUE(logs(morvel, "Hotkey presses: none, the user has declined"));
    ASSERT_TRUE(logs(morvel, "event tap installed"));
    chord();
    keyboard.type(KEY_SPACE);
    EXPECT_TRUE(logs(morvel, "keyboard.space.down"));
    end(morvel);
    morvel.drain();
    EXPECT_EQ(morvel.count("Mute toggled"), 0u);
}

TEST_F(WaylandShortcut, WithoutABusTheChordMutesAndUnmutesAlsoWhileKeysAreNotToSound) {
    auto environment = session(noBus);
    environment.emplace_back("MORVEL_SIMULATE_UNTRUSTED=1");
    MorvelProcess morvel(folder.path().string(), environment);
    ASSERT_TRUE(logs(morvel, "Hotkey presses: looked for at the keyboards"));
    EXPECT_TRUE(logs(morvel, "Hotkey ⌃⌥⌘M registered"));
    chord();
    EXPECT_TRUE(logs(morvel, "Mute toggled -> MUTED"));
    chord();
    EXPECT_TRUE(logs(morvel, "Mute toggled -> SOUNDING"));
    EXPECT_EQ(morvel.count("event tap installed"), 0u);
    end(morvel);
}

} // namespace
} // namespace morvel::test
