// How an ordinary user comes by the access to keyboards, and loses it, in a session that is not
// X11's: the program, the button, the program that it has run, udev's rules. Its windows are shown
// by an X server, as those of old programs are there; the keyboards are the test's own.

#include "tests/desktop/SuperuserSession.h"
#include "tests/desktop/UserDesktop.h"
#include "tests/support/InputDevices.h"
#include "tests/support/MountNamespace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/input-event-codes.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <optional>

namespace morvel::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* shown = "Onboarding window shown";
constexpr const char* trusted = "Accessibility trust changed -> TRUSTED";
constexpr const char* notTrusted = "Accessibility trust changed -> NOT TRUSTED";
constexpr const char* played = "TRACE play ";

class KeyboardAccessDesktopTest : public testing::Test {
protected:
    void SetUp() override {
        if (!canMountInPrivate())
            GTEST_SKIP()
                << "access to keyboards is given by the superuser, in folders of the test's "
                   "own, which unshare --mount refuses in some containers";
        superuser.emplace();
        if (access(MORVEL_PROGRAM, X_OK) != 0)
            GTEST_SKIP() << "an ordinary user may not run what is built in this folder";
        devices.emplace();
        desktop.emplace(DesktopSession::Setup{.panel = Panel::none, .sound = true});
    }
    // `programs` is where the program looks for "pkexec" first.
    MorvelProcess& start(const std::filesystem::path& programs) {
        return desktop->start(
            {}, {"XDG_SESSION_TYPE=wayland", "WAYLAND_DISPLAY=", "XDG_SEAT", "QT_QPA_PLATFORM=xcb",
                 "MORVEL_AUDIO_TRACE=1", "PATH=" + programs.string() + ":/usr/bin:/bin",
                 "LD_PRELOAD=libumockdev-preload.so.0",
                 // The library that redirects the program's calls stands before the sanitizer's.
                 "ASAN_OPTIONS=detect_odr_violation=1:verify_asan_link_order=0"});
    }
    // Waits until the program has done all that was asked of it before.
    bool isSettled() {
        auto environment = desktop->session.environment();
        environment.insert(environment.begin(), {"XDG_SESSION_TYPE=wayland", "WAYLAND_DISPLAY"});
        ChildProcess asking({{MORVEL_PROGRAM, "--toggle-mute"}, environment, {}, {}});
        return asking.wait(20s) == 0 && desktop->program().awaitLine("Mute toggled -> MUTED");
    }
    // A keyboard that nobody but the superuser may read, with the number that the kernel gives to
    // input devices, for udev acts on no other.
    InputDevice& plugUnreadable(const std::string& minor) {
        auto setup = InputDevices::keyboard();
        setup.properties.insert({{"MAJOR", "13"}, {"MINOR", minor}});
        return devices->plug(setup, 0);
    }
    static std::string name(const InputDevice& device) {
        return std::filesystem::path(device.node()).filename();
    }

    std::optional<SuperuserSession> superuser;
    std::optional<InputDevices> devices;
    std::optional<UserDesktop> desktop;
};

TEST_F(KeyboardAccessDesktopTest, IsGivenByTheWindowsButtonNoticedLiveAndTakenBack) {
    InputDevice& keyboard = plugUnreadable("69");
    ASSERT_EQ(superuser->apply(), 0);
    ASSERT_TRUE(superuser->isNotGiven(name(keyboard)));
    MorvelProcess& morvel = start(superuser->programs());
    ASSERT_TRUE(morvel.awaitLine(shown));
    ASSERT_TRUE(desktop->windows.await(titled(permissionTitle)));
    EXPECT_EQ(keyboard.readers(), 0);

    ASSERT_TRUE(desktop->click(permissionTitle, "Grant Access"));
    ASSERT_TRUE(morvel.awaitLine("Prompted for Accessibility access; immediate result -> false"));
    ASSERT_TRUE(superuser->isGiven(name(keyboard)));
    keyboard.uevent("change");
    ASSERT_TRUE(morvel.awaitLine(trusted));
    ASSERT_TRUE(morvel.awaitLine("event tap installed"));
    EXPECT_TRUE(desktop->windows.awaitNone(titled(permissionTitle)));
    keyboard.type(KEY_SPACE);
    EXPECT_TRUE(morvel.awaitLine("keyboard.space.down"));

    InputDevice& second = plugUnreadable("70");
    EXPECT_EQ(second.readers(), 0);
    ASSERT_EQ(superuser->apply(), 0);
    ASSERT_TRUE(superuser->isGiven(name(second)));
    second.uevent("change");
    ASSERT_TRUE(second.awaitReader(20s));
    second.type(KEY_TAB);
    EXPECT_TRUE(morvel.awaitLine("keyboard.tab.down"));

    EXPECT_EQ(superuser->pkexec("--revoke"), 0);
    EXPECT_TRUE(superuser->isNotGiven(name(keyboard)));
    EXPECT_TRUE(superuser->isNotGiven(name(second)));
    ASSERT_TRUE(morvel.awaitLine(notTrusted));
    EXPECT_TRUE(desktop->windows.await(titled(permissionTitle)));
    EXPECT_TRUE(desktop->controls.await(permissionTitle, "Grant Access"));
    morvel.drain();
    EXPECT_EQ(morvel.count(shown), 2u);
    EXPECT_EQ(keyboard.readers(), 0);
    const std::size_t before = morvel.count(played);
    keyboard.type(KEY_SPACE);
    ASSERT_TRUE(isSettled());
    EXPECT_EQ(morvel.count(played), before);
    EXPECT_EQ(desktop->end(SIGTERM), 0);
}

TEST_F(KeyboardAccessDesktopTest,
       WhereNobodyAsksForThePasswordTheButtonTellsTheCommandThatGivesIt) {
    plugUnreadable("69");
    const std::filesystem::path programs = desktop->session.home() + "/programs";
    writeText(programs / "pkexec",
              "#!/bin/sh\necho 'No authentication agent found.' >&2\nexit 127\n");
    std::filesystem::permissions(programs / "pkexec", std::filesystem::perms::owner_all);
    MorvelProcess& morvel = start(programs);
    ASSERT_TRUE(desktop->windows.await(titled(permissionTitle)));
    ASSERT_TRUE(desktop->click(permissionTitle, "Grant Access"));
    ASSERT_TRUE(morvel.awaitLine("No access to the keyboards — No authentication agent found."));
    ASSERT_TRUE(desktop->windows.await(titled(helpTitle)));
    EXPECT_TRUE(desktop->controls.await(helpTitle, "No access to the keyboards"));
    EXPECT_TRUE(desktop->controls.await(helpTitle, "sudo " MORVEL_KEYBOARD_ACCESS " --grant"));
    ASSERT_TRUE(desktop->click(helpTitle, "OK"));
    EXPECT_TRUE(desktop->windows.awaitNone(titled(helpTitle)));
    EXPECT_EQ(desktop->end(SIGTERM), 0);
}

} // namespace
} // namespace morvel::test
