#include "platform/linux/SocketWatch.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <filesystem>

namespace morvel {
namespace {

// Whether there is something to look at within a second.
bool tells(const SocketWatch& watch, int limit = 1000) {
    pollfd events{watch.descriptor(), POLLIN, 0};
    return poll(&events, 1, limit) == 1;
}

TEST(SocketWatch, TellsThatASocketAppearsInAFolderThatIsThere) {
    const TemporaryFolder folder;
    SocketWatch watch(folder / "server");
    EXPECT_TRUE(watch.missing());
    EXPECT_FALSE(watch.appeared());
    const auto socket = folder.file("server", "");
    ASSERT_TRUE(tells(watch));
    EXPECT_TRUE(watch.appeared());
    EXPECT_FALSE(watch.missing());
    EXPECT_FALSE(watch.appeared());
}

TEST(SocketWatch, TellsOfASocketWhoseFoldersComeWithIt) {
    const TemporaryFolder folder;
    SocketWatch watch(folder / "run" / "pulse" / "native");
    EXPECT_TRUE(watch.missing());
    folder.folder("run");
    ASSERT_TRUE(tells(watch));
    EXPECT_FALSE(watch.appeared());
    folder.folder("run/pulse");
    ASSERT_TRUE(tells(watch));
    EXPECT_FALSE(watch.appeared());
    const auto socket = folder.file("run/pulse/native", "");
    ASSERT_TRUE(tells(watch));
    EXPECT_TRUE(watch.appeared());
}

TEST(SocketWatch, TellsOfASocketThatCameWithItsFolderAtOnce) {
    const TemporaryFolder folder;
    SocketWatch watch(folder / "run" / "native");
    const auto socket = folder.file("run/native", "");
    ASSERT_TRUE(tells(watch));
    EXPECT_TRUE(watch.appeared());
}

TEST(SocketWatch, TellsOfASocketThatIsMadeAnew) {
    const TemporaryFolder folder;
    const auto socket = folder.file("server", "");
    SocketWatch watch(socket);
    EXPECT_FALSE(watch.missing());
    std::filesystem::remove(socket);
    EXPECT_TRUE(watch.missing());
    const auto again = folder.file("server", "");
    ASSERT_TRUE(tells(watch));
    EXPECT_TRUE(watch.appeared());
}

TEST(SocketWatch, FollowsAFolderThatIsRemovedAndMadeAnew) {
    const TemporaryFolder folder;
    const auto socket = folder.file("run/native", "");
    SocketWatch watch(socket);
    std::filesystem::remove_all(folder / "run");
    ASSERT_TRUE(tells(watch));
    EXPECT_FALSE(watch.appeared());
    EXPECT_TRUE(watch.missing());
    const auto again = folder.file("run/native", "");
    ASSERT_TRUE(tells(watch));
    EXPECT_TRUE(watch.appeared());
}

TEST(SocketWatch, OtherFilesAreNotIt) {
    const TemporaryFolder folder;
    SocketWatch watch(folder / "server");
    const auto other = folder.file("server.lock", "");
    ASSERT_TRUE(tells(watch));
    EXPECT_FALSE(watch.appeared());
    EXPECT_TRUE(watch.missing());
}

TEST(SocketWatch, AServerWithoutASocketIsNeverMissing) {
    SocketWatch watch({});
    EXPECT_FALSE(watch.missing());
    EXPECT_FALSE(watch.appeared());
    EXPECT_FALSE(tells(watch, 0));
}

} // namespace
} // namespace morvel
