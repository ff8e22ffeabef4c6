#include "selftest/FileAsItWas.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace morvel {
namespace {

namespace fs = std::filesystem;

TEST(FileAsItWas, AChangedOrRemovedFileHasItsBytesAndPermissionsBack) {
    const TemporaryFolder folder;
    const fs::path file = folder.file("a", "one\n");
    fs::permissions(file, fs::perms(0640));
    for (const bool removed : {false, true}) {
        {
            const FileAsItWas guard(file);
            if (removed)
                fs::remove(file);
            else
                writeText(file, "two");
        }
        EXPECT_EQ(readText(file), "one\n");
        EXPECT_EQ(fs::status(file).permissions(), fs::perms(0640));
    }
}

TEST(FileAsItWas, AnAbsentFileAndItsFolderAreAbsentAgain) {
    const TemporaryFolder folder;
    {
        const FileAsItWas guard(folder / "new/a");
        writeText(folder / "new/a", "one");
    }
    EXPECT_FALSE(fs::exists(folder / "new"));
}

TEST(FileAsItWas, AFolderThatHasGotSomethingElseOrWasThereStays) {
    const TemporaryFolder folder;
    fs::create_directory(folder / "old");
    {
        const FileAsItWas guard(folder / "new/a");
        const FileAsItWas other(folder / "old/a");
        writeText(folder / "new/a", "one");
        writeText(folder / "new/b", "two");
        writeText(folder / "old/a", "one");
    }
    EXPECT_FALSE(fs::exists(folder / "new/a"));
    EXPECT_EQ(readText(folder / "new/b"), "two");
    EXPECT_TRUE(fs::is_empty(folder / "old"));
}

TEST(FileAsItWas, WhatIsNoSmallFileIsLeftAlone) {
    const TemporaryFolder folder;
    folder.folder("a");
    const fs::path large = folder.file("b", std::string(FileAsItWas::longest + 1, 'x'));
    {
        const FileAsItWas one(folder / "a");
        const FileAsItWas two(large);
        writeText(large, "y");
    }
    EXPECT_TRUE(fs::is_directory(folder / "a"));
    EXPECT_EQ(readText(large), "y");
}

TEST(FileAsItWas, ALinkStaysALink) {
    const TemporaryFolder folder;
    folder.file("target", "one");
    fs::create_symlink(folder / "target", folder / "link");
    {
        const FileAsItWas guard(folder / "link");
        writeText(folder / "target", "two");
    }
    EXPECT_TRUE(fs::is_symlink(folder / "link"));
    EXPECT_EQ(readText(folder / "target"), "one");
}

} // namespace
} // namespace morvel
