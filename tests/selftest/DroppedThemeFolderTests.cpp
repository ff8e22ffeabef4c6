#include "selftest/settings/DroppedThemeFolder.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace morvel {
namespace {

namespace fs = std::filesystem;

TEST(DroppedThemeFolder, ItsFolderGoesWithAllThatIsInIt) {
    const TemporaryFolder themes;
    themes.file("sound.wav", "a sound");
    {
        const DroppedThemeFolder theme(themes.path(), "drop");
        EXPECT_EQ(theme.id(), "drop");
        EXPECT_TRUE(theme.write("manifest.json", "{}"));
        EXPECT_TRUE(theme.copy(themes / "sound.wav"));
        EXPECT_EQ(readText(themes / "drop/manifest.json"), "{}");
        EXPECT_EQ(readText(themes / "drop/sound.wav"), "a sound");
    }
    EXPECT_FALSE(fs::exists(themes / "drop"));
}

TEST(DroppedThemeFolder, WhatTheUserHasUnderItsNameIsNotTouched) {
    const TemporaryFolder themes;
    themes.file("drop/manifest.json", "mine");
    themes.file("drop-2", "a file");
    {
        const DroppedThemeFolder theme(themes.path(), "drop");
        EXPECT_EQ(theme.id(), "drop-3");
        EXPECT_TRUE(theme.write("manifest.json", "{}"));
    }
    EXPECT_EQ(readText(themes / "drop/manifest.json"), "mine");
    EXPECT_EQ(readText(themes / "drop-2"), "a file");
    EXPECT_FALSE(fs::exists(themes / "drop-3"));
}

TEST(DroppedThemeFolder, WithoutAThemesFolderNothingIsWritten) {
    const TemporaryFolder themes;
    const DroppedThemeFolder theme(themes / "none", "drop");
    EXPECT_EQ(theme.id(), "drop");
    EXPECT_FALSE(theme.write("manifest.json", "{}"));
    EXPECT_FALSE(theme.copy(themes.file("sound.wav", "a sound")));
    EXPECT_FALSE(fs::exists(themes / "none"));
}

TEST(DroppedThemeFolder, ASoundThatIsNotThereIsNotCopied) {
    const TemporaryFolder themes;
    const DroppedThemeFolder theme(themes.path(), "drop");
    EXPECT_FALSE(theme.copy(themes / "sound.wav"));
}

} // namespace
} // namespace morvel
