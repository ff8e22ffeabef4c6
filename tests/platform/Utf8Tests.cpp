#include "platform/Utf8.h"

#include <gtest/gtest.h>

namespace morvel {
namespace {

TEST(Utf8, ReadsCharactersOfEveryLength) {
    EXPECT_EQ(charactersOf("aü€😀"), U"aü€😀");
    EXPECT_TRUE(isValidUtf8("aü€😀"));
    EXPECT_TRUE(isValidUtf8(""));
    EXPECT_EQ(asValidUtf8("aü€😀"), "aü€😀");
}

TEST(Utf8, ReplacesEachByteOfWhatIsNoCharacter) {
    EXPECT_EQ(asValidUtf8("a\xff"
                          "b"),
              "a\uFFFDb");
    EXPECT_EQ(asValidUtf8("\xc3"), "\uFFFD");                     // cut off
    EXPECT_EQ(asValidUtf8("\xc0\xaf"), "\uFFFD\uFFFD");           // overlong
    EXPECT_EQ(asValidUtf8("\xe0\x80\x80"), "\uFFFD\uFFFD\uFFFD"); // overlong
    EXPECT_EQ(asValidUtf8("\xed\xa0\x80"), "\uFFFD\uFFFD\uFFFD"); // surrogate
    EXPECT_EQ(charactersOf("\xf4\x90\x80\x80").size(), 4u);       // beyond the last character
    EXPECT_EQ(asValidUtf8("\xc3\x28"), "\uFFFD(");
    EXPECT_FALSE(isValidUtf8("\xed\xa0\x80"));
}

} // namespace
} // namespace morvel
