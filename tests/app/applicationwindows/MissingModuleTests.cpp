// The program without its module of windows, as a broken installation has it.

#include "tests/support/BusServer.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/LinePipe.h"
#include "tests/support/PulseServer.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/XServer.h"
#include "tools/audition/KeyInjector.h"

#include <gtest/gtest.h>

#include <csignal>

namespace morvel::test {
namespace {

using namespace std::chrono_literals;

TEST(MissingModule, ItSaysOnceThatItShowsNoWindowsAndGoesOnSounding) {
    const TemporaryFolder folder;
    const auto program = folder.folder("bin") / "morvel";
    std::filesystem::copy_file(MORVEL_PROGRAM, program);
    const XServer x;
    PulseServer sound(folder / "sound");
    sound.start();
    std::vector<std::string> environment = {
        "DISPLAY=" + x.display(), "PULSE_SERVER=" + sound.address(),
        "XDG_SESSION_TYPE=x11",   "WAYLAND_DISPLAY",
        "MORVEL_AUDIO_TRACE=1",   "MORVEL_FORCE_PERMISSION_WINDOW=1"};
    for (const char* variable : {"HOME=", "XDG_RUNTIME_DIR=", "XDG_CONFIG_HOME=", "XDG_DATA_HOME="})
        environment.push_back(variable + folder.path().string());
    for (const char* bus : {"DBUS_SESSION_BUS_ADDRESS=", "DBUS_SYSTEM_BUS_ADDRESS="})
        environment.push_back(std::string(bus) + noBus);
    LinePipe log((folder / "log").string());
    ChildProcess morvel({{program.string()}, environment, log.path(), {}});
    ASSERT_TRUE(log.await("[Morvel] Cannot show windows — there is no module for them"));
    ASSERT_TRUE(log.await("event tap installed"));
    ASSERT_TRUE(log.await("Audio output"));

    for (const char* const request : {"--open-drawer", "--settings"}) {
        ChildProcess second({{program.string(), request}, environment, "/dev/null", {}});
        EXPECT_EQ(second.wait(10s), 0);
    }
    audition::KeyInjector keys(x.display());
    keys.press(XKB_KEY_space);
    keys.release(XKB_KEY_space);
    EXPECT_TRUE(log.await("keyboard.space.down"));
    morvel.signal(SIGTERM);
    EXPECT_EQ(morvel.wait(10s), 0);
    log.drain();
    EXPECT_EQ(log.count("Cannot show windows"), 1u);
}

} // namespace
} // namespace morvel::test
