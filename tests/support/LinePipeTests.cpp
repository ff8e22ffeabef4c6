#include "tests/support/ChildProcess.h"
#include "tests/support/LinePipe.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace morvel::test {
namespace {

using namespace std::chrono_literals;

class LinePipeTest : public testing::Test {
protected:
    // A program that writes to the pipe.
    ChildProcess writer(const std::string& script) const {
        return ChildProcess({{"sh", "-c", "{ " + script + "; } >&2"}, {}, pipe.path(), {}});
    }

    TemporaryFolder folder;
    LinePipe pipe{(folder / "pipe").string()};
};

TEST_F(LinePipeTest, ALineThatNeverComesIsNotFoundAmongManyThatDo) {
    writer("seq 2000").wait(20s);
    EXPECT_FALSE(pipe.await("absent", 0ms));
    EXPECT_TRUE(pipe.await("2000", 0ms));
    EXPECT_EQ(pipe.lines().size(), 2000u);
    EXPECT_EQ(pipe.count("1999"), 1u);
}

TEST_F(LinePipeTest, ALineIsWaitedForAndTakenOnce) {
    // Nothing can tell it that somebody waits; at once, it would come first half of the time.
    const ChildProcess late = writer("sleep 0.05; echo late; echo later");
    EXPECT_TRUE(pipe.take("late"));
    EXPECT_TRUE(pipe.take("late"));
    EXPECT_FALSE(pipe.take("late", 0ms));
}

TEST_F(LinePipeTest, HalfALineIsNone) {
    writer("printf half").wait(20s);
    EXPECT_FALSE(pipe.await("half", 0ms));
    writer("echo ' and half'").wait(20s);
    EXPECT_TRUE(pipe.await("half and half", 0ms));
}

} // namespace
} // namespace morvel::test
