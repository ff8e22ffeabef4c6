// The whole program in a session without an X server, as far as it goes without a compositor: Qt
// draws into memory, the keyboards are the test's own.

#include "tests/desktop/MorvelProcess.h"
#include "tests/support/BusServer.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/InputDevices.h"
#include "tests/support/PulseServer.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <csignal>
#include <string>
#include <vector>

namespace morvel::test {
namespace {

using namespace std::chrono_literals;

std::vector<std::string> waylandSession(const PulseServer& sound) {
    return {"XDG_SESSION_TYPE=wayland", "WAYLAND_DISPLAY=wayland-of-the-test", "DISPLAY",
            "XDG_SEAT", "QT_QPA_PLATFORM=offscreen", "PULSE_SERVER=" + sound.address(),
            std::string("DBUS_SESSION_BUS_ADDRESS=") + noBus, "MORVEL_AUDIO_TRACE=1",
            "LD_PRELOAD=libumockdev-preload.so.0",
            // The library that redirects the program's calls stands before the sanitizer's.
            "ASAN_OPTIONS=detect_odr_violation=1:verify_asan_link_order=0"};
}

TEST(WaylandSession, KeysOfEveryKeyboardSoundAndTheRestOfTheProgramDoesWithoutAnXServer) {
    const TemporaryFolder folder;
    InputDevices devices;
    InputDevice& keyboard = devices.plug(InputDevices::keyboard());
    PulseServer sound(folder / "sound");
    sound.start();
    MorvelProcess morvel(folder.path().string(), waylandSession(sound));
    ASSERT_TRUE(morvel.awaitLine("event tap installed"));
    ASSERT_TRUE(morvel.awaitLine("Audio output"));
    EXPECT_TRUE(morvel.awaitLine("Hotkey presses: looked for at the keyboards"));

    keyboard.type(KEY_SPACE);
    EXPECT_TRUE(morvel.awaitLine("keyboard.space.down"));
    EXPECT_TRUE(morvel.awaitLine("keyboard.space.up"));
    InputDevice& second = devices.plug(InputDevices::keyboard());
    ASSERT_TRUE(second.awaitReader(20s));
    second.type(KEY_TAB);
    EXPECT_TRUE(morvel.awaitLine("keyboard.tab.down"));

    for (const char* const request : {"--open-drawer", "--settings"}) {
        auto environment = waylandSession(sound);
        environment.push_back("XDG_RUNTIME_DIR=" + folder.path().string());
        ChildProcess again({{MORVEL_PROGRAM, request}, environment, "/dev/null", {}});
        EXPECT_EQ(again.wait(10s), 0);
    }
    keyboard.type(KEY_BACKSPACE);
    EXPECT_TRUE(morvel.awaitLine("keyboard.delete.down"));
    morvel.process().signal(SIGTERM);
    EXPECT_EQ(morvel.process().wait(10s), 0);
}

} // namespace
} // namespace morvel::test
