#include "tests/support/ChildProcess.h"
#include "tests/support/ProcessMemory.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <vector>

namespace morvel::test {
namespace {

using namespace std::chrono_literals;

TEST(ChildProcessTest, TheEnvironmentIsAddedToAndTakenFrom) {
    ::setenv("KEPT", "kept", 1);
    ::setenv("REPLACED", "old", 1);
    ::setenv("TAKEN", "old", 1);
    const TemporaryFolder folder;
    ChildProcess process({{"sh", "-c", "echo $KEPT $REPLACED $NEW ${TAKEN-none}"},
                          {"REPLACED=first", "NEW=new", "REPLACED=second", "TAKEN"},
                          {},
                          {},
                          (folder / "out").string()});
    EXPECT_EQ(process.wait(20s), 0);
    EXPECT_EQ(readText(folder / "out"), "kept first new none\n");
}

TEST(ChildProcessTest, ItEndsWithItsObject) {
    pid_t pid = 0;
    {
        const ChildProcess process({{"sleep", "1000"}, {}, {}, {}});
        pid = process.pid();
        EXPECT_GT(memoryOf(pid).resident, 0u);
    }
    EXPECT_NE(::kill(pid, 0), 0);
    EXPECT_EQ(memoryOf(pid).resident, 0u);
}

TEST(ProcessMemoryTest, WhatIsAllocatedAndTouchedIsSeen) {
    const ProcessMemory before = memoryOf(::getpid());
    const std::vector<char> much(std::size_t{64} << 20, 'x');
    const ProcessMemory after = memoryOf(::getpid());
    // The system may have taken back other memory of the process meanwhile.
    EXPECT_GE(after.resident, before.resident + (std::uint64_t{32} << 20));
    EXPECT_GE(after.own, before.own + (std::uint64_t{32} << 20));
    EXPECT_LE(after.proportional, after.resident);
    EXPECT_EQ(much.back(), 'x');
}

} // namespace
} // namespace morvel::test
