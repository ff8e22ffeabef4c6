// The permission to hear keys as a user meets it: given, missing, late and taken away.

#include "tests/desktop/UserDesktop.h"
#include "tests/support/MainLoop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>

namespace morvel::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* shown = "Onboarding window shown";
constexpr const char* played = "TRACE play ";
constexpr const char* revoked = "Accessibility revoked mid-session — stopping input modules and "
                                "re-prompting";

class PermissionDesktopTest : public testing::Test {
protected:
    MorvelProcess& start(std::vector<std::string> environment) {
        environment.emplace_back("MORVEL_AUDIO_TRACE=1");
        return desktop.start({}, environment);
    }
    bool windowOpens() { return desktop.windows.await(titled(permissionTitle)).has_value(); }
    bool windowCloses() { return desktop.windows.awaitNone(titled(permissionTitle)); }
    bool shows(const std::string& text) {
        return desktop.controls.await(permissionTitle, text).has_value();
    }
    bool showsNot(const std::string& text) {
        return desktop.controls.awaitNone(permissionTitle, text);
    }
    void type() {
        for (int i = 0; i < 5; ++i)
            strike(desktop.keys, XKB_KEY_a);
    }
    // Waits until the program has done all that was asked of it before.
    bool isSettled() {
        return desktop.run({"--toggle-mute"}).status == 0 &&
               desktop.program().awaitLine("Mute toggled -> MUTED");
    }
    // Whether the lines are in the log, in this order.
    bool inOrder(const std::vector<std::string>& wanted) {
        desktop.program().drain();
        const auto& lines = desktop.program().lines();
        auto from = lines.begin();
        for (const std::string& text : wanted) {
            from = std::find_if(from, lines.end(), [&](const std::string& line) {
                return line.find(text) != std::string::npos;
            });
            if (from == lines.end()) {
                ADD_FAILURE() << "not in its place: " << text << "\n"
                              << testing::PrintToString(lines);
                return false;
            }
            ++from;
        }
        return true;
    }

    UserDesktop desktop{{.panel = Panel::none, .sound = true}};
};

TEST_F(PermissionDesktopTest, WithoutPermissionTheWindowAsksForItAndKeysAreSilent) {
    MorvelProcess& morvel = start({"MORVEL_SIMULATE_UNTRUSTED=1"});
    ASSERT_TRUE(windowOpens());
    EXPECT_TRUE(shows("Accessibility access needed"));
    EXPECT_TRUE(shows("Grant Access"));
    EXPECT_TRUE(shows("Open System Settings"));
    EXPECT_FALSE(desktop.controls.find(permissionTitle, "Continue"));
    ASSERT_TRUE(morvel.awaitLine(revoked));
    type();
    ASSERT_TRUE(isSettled());
    EXPECT_EQ(morvel.count(played), 0u);
    EXPECT_EQ(morvel.count(revoked), 1u);
    EXPECT_EQ(morvel.count(shown), 1u);
    EXPECT_TRUE(
        inOrder({"SIMULATING untrusted for ∞s — real AXIsProcessTrusted() is true",
                 "Hotkey ⌃⌥⌘M registered", "---- Accessibility trust identity ----",
                 "AXIsProcessTrusted() -> true", "onboarding gate: trusted=false force=false",
                 shown, "KeyboardEngine: not starting — no Accessibility permission", revoked}));
}

TEST_F(PermissionDesktopTest, TheWindowsButtonsAskExplainAndCloseAndTheDrawerWorks) {
    MorvelProcess& morvel =
        start({"MORVEL_SIMULATE_UNTRUSTED=1", "PATH=" + desktop.session.home()});
    ASSERT_TRUE(morvel.awaitLine(revoked));
    ASSERT_TRUE(windowOpens());
    ASSERT_TRUE(desktop.click(permissionTitle, "Grant Access"));
    EXPECT_TRUE(morvel.awaitLine("Prompted for Accessibility access; immediate result -> true"));
    EXPECT_TRUE(shows("Accessibility access needed"));
    ASSERT_TRUE(desktop.click(permissionTitle, "Open System Settings"));
    ASSERT_TRUE(desktop.windows.await(titled(helpTitle)));
    ASSERT_TRUE(desktop.click(helpTitle, "OK"));
    ASSERT_TRUE(desktop.windows.awaitNone(titled(helpTitle)));
    // Return is the default button's.
    ASSERT_TRUE(desktop.windows.awaitFocus(titled(permissionTitle)));
    strike(desktop.keys, XKB_KEY_Return);
    EXPECT_TRUE(morvel.awaitLine("Prompted for Accessibility access"));
    const auto window = desktop.windows.find(titled(permissionTitle));
    ASSERT_TRUE(window);
    desktop.windows.close(*window);
    EXPECT_TRUE(windowCloses());
    EXPECT_EQ(desktop.run({"--open-drawer"}).status, 0);
    ASSERT_TRUE(desktop.controls.await(drawerTitle, "Clicky button"));
    ASSERT_TRUE(desktop.click(drawerTitle, "Clicky button"));
    EXPECT_TRUE(morvel.awaitLine(played));
}

TEST_F(PermissionDesktopTest, APermissionThatComesLateClosesTheWindowAndKeysSound) {
    MorvelProcess& morvel = start({"MORVEL_SIMULATE_UNTRUSTED_SECONDS=2"});
    ASSERT_TRUE(windowOpens());
    ASSERT_TRUE(morvel.awaitLine("Accessibility trust changed -> TRUSTED"));
    EXPECT_TRUE(windowCloses());
    ASSERT_TRUE(morvel.awaitLine("event tap installed"));
    type();
    EXPECT_TRUE(morvel.awaitLine(played));
    EXPECT_TRUE(inOrder({"SIMULATING untrusted for 2s", "onboarding gate: trusted=false", shown,
                         "KeyboardEngine: not starting", revoked,
                         "Accessibility trust changed -> TRUSTED", "event tap installed", played}));
}

TEST_F(PermissionDesktopTest, APermissionThatIsTakenAwaySilencesKeysAndOpensTheWindow) {
    MorvelProcess& morvel = start({"MORVEL_SIMULATE_REVOKE_AFTER_SECONDS=2"});
    ASSERT_TRUE(morvel.awaitLine("event tap installed"));
    type();
    ASSERT_TRUE(morvel.awaitLine(played));
    ASSERT_TRUE(morvel.awaitLine(shown));
    EXPECT_TRUE(windowOpens());
    EXPECT_TRUE(shows("Accessibility access needed"));
    morvel.drain();
    const std::size_t before = morvel.count(played);
    type();
    ASSERT_TRUE(isSettled());
    EXPECT_EQ(morvel.count(played), before);
    EXPECT_TRUE(inOrder({"SIMULATING revocation after 2s — real AXIsProcessTrusted() is true",
                         "onboarding gate: trusted=true force=false", "event tap installed", played,
                         "Accessibility trust changed -> NOT TRUSTED", revoked, "event tap removed",
                         shown}));
}

TEST_F(PermissionDesktopTest, AForcedWindowOpensAndTheFirstWordOfTrustClosesIt) {
    MorvelProcess& morvel = start({"MORVEL_FORCE_PERMISSION_WINDOW=1"});
    ASSERT_TRUE(morvel.awaitLine(shown));
    ASSERT_TRUE(morvel.awaitLine("event tap installed"));
    EXPECT_TRUE(windowCloses());
    EXPECT_EQ(morvel.count(revoked), 0u);
    EXPECT_TRUE(
        inOrder({"onboarding gate: trusted=true force=true", shown, "event tap installed"}));
}

TEST_F(PermissionDesktopTest, AWindowThatWasClosedByHandOpensAgainWhenTrustIsLost) {
    MorvelProcess& morvel =
        start({"MORVEL_SIMULATE_UNTRUSTED_SECONDS=1", "MORVEL_SIMULATE_REVOKE_AFTER_SECONDS=4"});
    ASSERT_TRUE(windowOpens());
    EXPECT_TRUE(windowCloses());
    ASSERT_TRUE(morvel.awaitLine("event tap installed"));
    ASSERT_TRUE(morvel.awaitLine("Accessibility trust changed -> NOT TRUSTED"));
    EXPECT_TRUE(windowOpens());
    EXPECT_TRUE(shows("Grant Access"));
}

} // namespace
} // namespace morvel::test
