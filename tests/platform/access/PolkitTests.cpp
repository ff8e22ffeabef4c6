#include "platform/linux/access/KeyboardRule.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/MountNamespace.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace morvel {
namespace {

TEST(PolkitTest, RunsTheProgramForWhoeverThePolicysActionIsAllowedTo) {
    if (!test::canMountInPrivate())
        GTEST_SKIP()
            << "a polkit of a test's own needs the superuser, and folders of its own, which "
               "unshare --mount refuses in some containers";
    const TemporaryFolder folder;
    const std::string outcome = folder / "outcome";
    test::ChildProcess session(
        {{"unshare", "--mount", MORVEL_POLKIT_SESSION, MORVEL_KEYBOARD_ACCESS, MORVEL_POLICY},
         {},
         folder / "errors",
         {},
         outcome});
    EXPECT_EQ(session.wait(std::chrono::seconds(60)), 0) << readText(folder / "errors");
    const std::string rule = keyboardRuleName() + "\n";
    const std::string applied = "udevadm control\nudevadm trigger\nudevadm settle\n";
    EXPECT_EQ(readText(outcome), "--grant: 0\n" + rule + "--revoke: 127\n" + rule +
                                     "--other: 127\n" + rule + "by the superuser: 0\n" + applied +
                                     applied);
}

} // namespace
} // namespace morvel
