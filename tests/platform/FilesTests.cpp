#include "platform/Files.h"
#include "platform/Utf8.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>

namespace morvel {
namespace {

TEST(Files, TellsAbsentFromUnreadable) {
    const TemporaryFolder folder;
    writeText(folder / "file", "12345");
    EXPECT_EQ(readFile(folder / "nothing", 10).kind, FileContent::Kind::absent);
    EXPECT_EQ(readFile(folder / "file/below", 10).kind, FileContent::Kind::absent);
    EXPECT_EQ(readFile(folder.path(), 10).kind, FileContent::Kind::unreadable);
    EXPECT_EQ(readFile(folder / "file", 5).text, "12345");
    EXPECT_EQ(readFile(folder / "file", 4).problem, "it is longer than 4 bytes");
}

TEST(Files, DoesNotWaitOnAPipeOrReadADevice) {
    const TemporaryFolder folder;
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(readFile(folder / "pipe", 10).problem, "it is not a regular file");
    EXPECT_EQ(readFile("/dev/zero", 10).problem, "it is not a regular file");
}

TEST(Files, AFailedReplacementSaysWhatAndWhy) {
    const TemporaryFolder folder;
    writeText(folder / "file", "old");
    EXPECT_EQ(replaceFile(folder / "file/below", "new"),
              (folder / "file").string() + ": Not a directory");
    EXPECT_NE(replaceFile(folder.path(), "new"), std::nullopt);
    EXPECT_EQ(readText(folder / "file"), "old");
}

TEST(Files, WhatACrashLeftOfAReplacementIsRemovedAndNothingElse) {
    const TemporaryFolder folder;
    writeText(folder / ".file.aB3xYz", "half");
    for (const char* name : {"file", ".file.new", ".file.aB3xYz2", ".other.aB3xYz", "file.aB3xYz"})
        writeText(folder / name, "whole");
    std::filesystem::create_directory(folder / ".file.folder");
    std::filesystem::create_symlink("file", folder / "link");
    removeUnfinished(folder / "link");
    EXPECT_FALSE(std::filesystem::exists(folder / ".file.aB3xYz"));
    for (const char* name : {"file", ".file.new", ".file.aB3xYz2", ".other.aB3xYz", "file.aB3xYz"})
        EXPECT_EQ(readText(folder / name), "whole") << name;
    EXPECT_TRUE(std::filesystem::exists(folder / ".file.folder"));
    removeUnfinished(folder / "nowhere/file");
}

TEST(Files, AReplacementInProgressIsNotTakenForACrashs) {
    const TemporaryFolder folder;
    std::atomic<bool> done = false;
    std::thread cleaner([&] {
        while (!done)
            removeUnfinished(folder / "file");
    });
    for (int i = 0; i < 200; ++i)
        EXPECT_EQ(replaceFile(folder / "file", std::to_string(i)), std::nullopt);
    done = true;
    cleaner.join();
    EXPECT_EQ(readText(folder / "file"), "199");
}

TEST(Utf8, LeavesValidTextAlone) {
    const std::string text = "plain ünï — 世界 \xf0\x9f\x8e\xb9 \xf4\x8f\xbf\xbf";
    EXPECT_EQ(asValidUtf8(text), text);
}

TEST(Utf8, ReplacesEachByteThatBelongsToNoCharacter) {
    EXPECT_EQ(asValidUtf8("a\xff"), "a\xef\xbf\xbd");
    EXPECT_EQ(asValidUtf8("\xe2\x82!"), "\xef\xbf\xbd\xef\xbf\xbd!"); // cut short
    EXPECT_EQ(asValidUtf8("\xc0\xaf"), "\xef\xbf\xbd\xef\xbf\xbd");   // overlong
    EXPECT_EQ(asValidUtf8("\xed\xa0\x80").size(), 9u);                // a surrogate
    EXPECT_EQ(asValidUtf8("\xf4\x90\x80\x80").size(), 12u);           // past the last
    EXPECT_EQ(asValidUtf8("\xf0\x9f\x8e").size(), 9u);                // ends too early
}

} // namespace
} // namespace morvel
