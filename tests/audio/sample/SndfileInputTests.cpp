#include "audio/sample/SndfileInput.h"
#include "tests/support/TemporaryFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace morvel {
namespace {

class SndfileInputTest : public testing::Test {
protected:
    static constexpr std::size_t length = 200'000; // more than is read at a time

    static std::string counted(std::size_t bytes) {
        std::string content;
        for (std::size_t i = 0; i < bytes; ++i)
            content += static_cast<char>(i * 31 + i / 256);
        return content;
    }
    FileDescriptor opened(int mode = O_RDONLY) const {
        return FileDescriptor(::open(file.c_str(), mode | O_CLOEXEC));
    }
    static sf_count_t seek(SndfileInput& input, sf_count_t offset, int whence) {
        return SndfileInput::functions().seek(offset, whence, &input);
    }
    static std::string read(SndfileInput& input, std::size_t count) {
        std::string bytes(count, '\0');
        const auto done =
            SndfileInput::functions().read(bytes.data(), static_cast<sf_count_t>(count), &input);
        bytes.resize(static_cast<std::size_t>(done));
        return bytes;
    }

    TemporaryFolder temporary;
    std::string content = counted(length);
    std::filesystem::path file = temporary.file("sound", content);
};

TEST_F(SndfileInputTest, ReadsAnyPartOfTheFileAsItIs) {
    SndfileInput input(opened(), length);
    EXPECT_EQ(read(input, length), content);
    for (const std::size_t place : {0UL, 65'530UL, 65'536UL, 150'000UL, 1UL, 131'071UL}) {
        EXPECT_EQ(seek(input, static_cast<sf_count_t>(place), SEEK_SET),
                  static_cast<sf_count_t>(place));
        EXPECT_EQ(read(input, 20), content.substr(place, 20)) << place;
    }
    EXPECT_EQ(seek(input, -20, SEEK_CUR), 131'071);
    EXPECT_EQ(read(input, 3), content.substr(131'071, 3));
    EXPECT_EQ(seek(input, -5, SEEK_END), static_cast<sf_count_t>(length) - 5);
    EXPECT_EQ(read(input, 20), content.substr(length - 5));
}

TEST_F(SndfileInputTest, BeyondTheEndThereIsNothing) {
    SndfileInput input(opened(), length);
    EXPECT_EQ(seek(input, 10, SEEK_END), static_cast<sf_count_t>(length) + 10);
    EXPECT_EQ(read(input, 1), "");
    EXPECT_FALSE(input.error());
}

TEST_F(SndfileInputTest, APlaceThatCannotBeIsRefusedAndTheOldOneKept) {
    SndfileInput input(opened(), length);
    seek(input, 7, SEEK_SET);
    EXPECT_EQ(seek(input, -1, SEEK_SET), -1);
    EXPECT_EQ(seek(input, -8, SEEK_CUR), -1);
    EXPECT_EQ(seek(input, std::numeric_limits<sf_count_t>::max(), SEEK_CUR), -1);
    EXPECT_EQ(seek(input, std::numeric_limits<sf_count_t>::min(), SEEK_END), -1);
    EXPECT_EQ(read(input, 2), content.substr(7, 2));
}

TEST_F(SndfileInputTest, AFileThatWasCutMeanwhileJustEnds) {
    SndfileInput input(opened(), length);
    std::filesystem::resize_file(file, 70'000);
    EXPECT_EQ(read(input, length), content.substr(0, 70'000));
    EXPECT_FALSE(input.error());
}

TEST_F(SndfileInputTest, AReadThatFailsIsAnErrorAndNoEnd) {
    SndfileInput input(opened(O_WRONLY), length);
    EXPECT_EQ(read(input, 10), "");
    EXPECT_EQ(input.error(), std::errc::bad_file_descriptor);
}

} // namespace
} // namespace morvel
