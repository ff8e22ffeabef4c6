// The whole program as a client of a Wayland compositor that goes away.

#include "tests/desktop/MorvelProcess.h"
#include "tests/support/BusServer.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/InputDevices.h"
#include "tests/support/PulseServer.h"
#include "tests/support/SettingsFile.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace morvel::test {
namespace {

using namespace std::chrono_literals;

class CompositorLoss : public testing::Test {
protected:
    CompositorLoss() {
        ::chmod(folder.path().c_str(), 0700);
        const int watch = ::inotify_init1(IN_CLOEXEC);
        ::inotify_add_watch(watch, folder.path().c_str(), IN_CREATE);
        compositor = std::make_unique<ChildProcess>(ChildProcess::Setup{
            {"weston", "--backend=headless-backend.so", "--socket=display", "--idle-time=0"},
            {"XDG_RUNTIME_DIR=" + folder.path().string(), "HOME=" + folder.path().string(),
             "DISPLAY", "WAYLAND_DISPLAY"},
            "/dev/null",
            {},
            "/dev/null"});
        while (!std::filesystem::exists(folder / "display")) {
            pollfd changed{watch, POLLIN, 0};
            if (::poll(&changed, 1, 20000) != 1)
                break;
            char news[4096];
            [[maybe_unused]] const ssize_t read = ::read(watch, news, sizeof news);
        }
        ::close(watch);
        sound.start();
        morvel = std::make_unique<MorvelProcess>(folder.path().string(), environment());
    }

    std::vector<std::string> environment() const {
        return {
            "XDG_SESSION_TYPE=wayland", "WAYLAND_DISPLAY=display", "DISPLAY", "XDG_SEAT",
            "XDG_RUNTIME_DIR=" + folder.path().string(), "QT_QPA_PLATFORM=wayland",
            "PULSE_SERVER=" + sound.address(), std::string("DBUS_SESSION_BUS_ADDRESS=") + noBus,
            "LD_PRELOAD=libumockdev-preload.so.0",
            // The library that redirects the program's calls stands before the sanitizer's. What
            // Qt's part for compositors leaves behind as it ends is no leak of the program's.
            "ASAN_OPTIONS=detect_odr_violation=1:verify_asan_link_order=0:detect_leaks=0"};
    }
    int request(const char* option) const {
        return ChildProcess({{MORVEL_PROGRAM, option}, environment(), "/dev/null", {}}).wait(10s);
    }
    bool hasSocket() const {
        for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
            if (entry.path().extension() == ".socket")
                return true;
        return false;
    }

    const TemporaryFolder folder;
    PulseServer sound{folder / "sound"};
    InputDevices devices; // none of the machine's
    std::unique_ptr<ChildProcess> compositor;
    std::unique_ptr<MorvelProcess> morvel;
};

TEST_F(CompositorLoss, EndsTheProgramInOrderWithTheLastChoiceKept) {
    ASSERT_TRUE(morvel->awaitLine("not starting"));
    ASSERT_EQ(request("--open-drawer"), 0); // with a window Qt has one thread more that may notice
    ASSERT_EQ(request("--toggle-mute"), 0);
    ASSERT_TRUE(hasSocket());
    compositor->signal(SIGKILL);
    EXPECT_EQ(morvel->process().wait(10s), 0);
    morvel->drain();
    EXPECT_EQ(morvel->count("The compositor has gone away — quitting"), 1u);
    EXPECT_EQ(SettingsFile(folder.path()).value("master.muted"), true);
    EXPECT_FALSE(hasSocket());
}

TEST_F(CompositorLoss, ThatHappenedBeforeTheStartIsSaidSo) {
    ASSERT_TRUE(morvel->awaitLine("not starting"));
    morvel->process().signal(SIGTERM);
    EXPECT_EQ(morvel->process().wait(10s), 0);
    compositor->signal(SIGKILL);
    compositor->wait(10s);
    MorvelProcess late(folder.path().string(), environment());
    EXPECT_EQ(late.process().wait(10s), 1);
    EXPECT_TRUE(late.awaitLine("There is no display to show anything on — quitting"));
}

} // namespace
} // namespace morvel::test
