#include "platform/simulated/SimulatedLog.h"
#include "selftest/CheckList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace morvel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(CheckList, ARunWithoutFailuresEndsWithNoneAndNoNames) {
    SimulatedLog log;
    CheckList checks("SETTINGSTEST", log);
    checks.start();
    EXPECT_TRUE(checks.check("settings and quit remain", true));
    EXPECT_TRUE(checks.check("revocation wiring present", true, "run it to see"));
    checks.complete();
    EXPECT_THAT(
        log.lines(),
        ElementsAre("[Morvel] SETTINGSTEST starting",
                    "[Morvel] SETTINGSTEST   [PASS] settings and quit remain",
                    "[Morvel] SETTINGSTEST   [PASS] revocation wiring present — run it to see",
                    "[Morvel] SETTINGSTEST complete — 0 failure(s)"));
}

TEST(CheckList, FailuresAreCountedAndNamedAtTheEnd) {
    SimulatedLog log;
    CheckList checks("POLISHTEST", log);
    checks.start();
    EXPECT_FALSE(checks.check("hotkey path mutes", false));
    checks.check("menu item reflects muted state", true);
    checks.check("mute state persisted", false, "nothing stored");
    checks.complete();
    EXPECT_THAT(
        log.lines(),
        ElementsAre("[Morvel] POLISHTEST starting",
                    "[Morvel] POLISHTEST   [FAIL] hotkey path mutes",
                    "[Morvel] POLISHTEST   [PASS] menu item reflects muted state",
                    "[Morvel] POLISHTEST   [FAIL] mute state persisted — nothing stored",
                    "[Morvel] POLISHTEST complete — 2 failure(s): hotkey path mutes, mute state "
                    "persisted"));
}

TEST(CheckList, StartingAgainForgetsTheFailuresBefore) {
    SimulatedLog log;
    CheckList checks("KEYGROUPTEST", log);
    checks.start();
    checks.check("minimal theme loads", false);
    checks.start();
    EXPECT_THAT(checks.failures(), IsEmpty());
}

} // namespace
} // namespace morvel
