#include "platform/RegularFile.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace morvel {
namespace {

TEST(RegularFile, IsReadWhole) {
    const TemporaryFolder temporary;
    const std::string content = std::string("a\0b", 3) + std::string(100000, 'x');
    const auto file = temporary.file("file", content);
    const auto read = readRegularFile(file, content.size());
    ASSERT_TRUE(read);
    EXPECT_EQ(read.value(), content);
}

TEST(RegularFile, IsNotReadBeyondTheLimit) {
    const TemporaryFolder temporary;
    const auto read = readRegularFile(temporary.file("file", "12345"), 4);
    ASSERT_FALSE(read);
    EXPECT_EQ(read.error(), std::errc::file_too_large);
}

TEST(RegularFile, IsNotReadBeyondTheLimitWhenItsSizeLies) {
    const auto read = readRegularFile("/proc/self/status", 10); // reports a size of 0
    ASSERT_FALSE(read);
    EXPECT_EQ(read.error(), std::errc::file_too_large);
}

TEST(RegularFile, IsNothingElse) {
    const TemporaryFolder temporary;
    const auto pipe = temporary.path() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(openRegularFile(pipe).error(), std::errc::not_supported);
    EXPECT_EQ(openRegularFile("/dev/zero").error(), std::errc::not_supported);
    EXPECT_EQ(openRegularFile(temporary.path()).error(), std::errc::is_a_directory);
    EXPECT_EQ(openRegularFile(temporary.path() / "gone").error(),
              std::errc::no_such_file_or_directory);
}

TEST(RegularFile, TellsItsSize) {
    const TemporaryFolder temporary;
    const auto opened = openRegularFile(temporary.file("file", "12345"));
    ASSERT_TRUE(opened);
    EXPECT_EQ(sizeOf(opened.value()).value(), 5u);
}

} // namespace
} // namespace morvel
