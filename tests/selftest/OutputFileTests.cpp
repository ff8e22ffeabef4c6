#include "selftest/OutputFile.h"

#include <gtest/gtest.h>

namespace morvel {
namespace {

Environment with(std::optional<std::string> out) {
    return [out = std::move(out)](const std::string& name) {
        return name == "MORVEL_SELFTEST_OUT" ? out : std::nullopt;
    };
}

TEST(SelfTestOutput, IsWhereTheVariableSays) {
    EXPECT_EQ(selfTestOutput(with("/somewhere/heard.wav"), "morvel-selftest.wav"),
              "/somewhere/heard.wav");
}

TEST(SelfTestOutput, IsInTheTemporaryFolderOtherwise) {
    const auto expected = std::filesystem::temp_directory_path() / "morvel-selftest.wav";
    EXPECT_EQ(selfTestOutput(with(std::nullopt), "morvel-selftest.wav"), expected);
    EXPECT_EQ(selfTestOutput(with(""), "morvel-selftest.wav"), expected);
}

} // namespace
} // namespace morvel
