#include "platform/linux/CoreDumps.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace morvel {
namespace {

constexpr const char* limitIsZero =
    "the limit cannot be raised to one byte here, so a program that collects images gets them";

bool limitIsFixedAtZero() {
    rlimit limit{};
    getrlimit(RLIMIT_CORE, &limit);
    return limit.rlim_max == 0;
}

TEST(CoreDumps, AProcessThatHasRefusedThemLeavesNoneWhenItCrashes) {
    if (limitIsFixedAtZero())
        GTEST_SKIP() << limitIsZero;
    const TemporaryFolder folder;
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        rlimit limit{};
        getrlimit(RLIMIT_CORE, &limit);
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_CORE, &limit);
        if (chdir(folder.path().c_str()) != 0)
            _exit(1);
        refuseCoreDumps();
        signal(SIGABRT, SIG_DFL);
        raise(SIGABRT);
        _exit(1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGABRT);
    EXPECT_FALSE(WCOREDUMP(status));
}

TEST(CoreDumps, AreLimitedToTheOneByteThatACollectingProgramIsRefusedToo) {
    if (limitIsFixedAtZero())
        GTEST_SKIP() << limitIsZero;
    rlimit before{};
    getrlimit(RLIMIT_CORE, &before);
    refuseCoreDumps();
    rlimit after{};
    getrlimit(RLIMIT_CORE, &after);
    EXPECT_EQ(after.rlim_cur, 1u);
    EXPECT_EQ(after.rlim_max, before.rlim_max);
    setrlimit(RLIMIT_CORE, &before);
}

} // namespace
} // namespace morvel
