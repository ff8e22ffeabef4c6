#include "app/settings/JsonDefaultsStore.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/VirtualTime.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cmath>
#include <csignal>
#include <iterator>
#include <limits>
#include <memory>

namespace morvel {
namespace {

namespace fs = std::filesystem;

using Lines = std::vector<std::string>;

class JsonDefaultsStoreTest : public testing::Test {
protected:
    std::unique_ptr<JsonDefaultsStore> opened() {
        return std::make_unique<JsonDefaultsStore>(file_, time_, log_);
    }
    // A store on a file of this content.
    std::unique_ptr<JsonDefaultsStore> storeOf(std::string_view text) {
        writeText(file_, text);
        return opened();
    }
    fs::path damaged(const std::string& suffix = "") {
        return folder_ / ("settings.json.damaged" + suffix);
    }
    // One log line, the defaults, and a file that can be written again.
    void expectSetAside() {
        const auto store = opened();
        ASSERT_EQ(log_.lines().size(), 1u);
        EXPECT_NE(log_.lines()[0].find("is damaged"), std::string::npos) << log_.lines()[0];
        EXPECT_NE(log_.lines()[0].find(damaged().string()), std::string::npos);
        EXPECT_FALSE(store->contains("a"));
        EXPECT_TRUE(fs::exists(fs::symlink_status(damaged())));
        store->setBool("a", true);
        store->flush();
        EXPECT_EQ(readText(file_), "{\n    \"a\": true\n}\n");
        EXPECT_EQ(log_.lines().size(), 1u);
    }

    TemporaryFolder folder_;
    fs::path file_ = folder_ / "settings.json";
    VirtualTime time_;
    SimulatedLog log_;
};

// While it lives no file of this process can grow beyond some bytes: a full disk.
class FullDisk {
public:
    FullDisk() {
        ::getrlimit(RLIMIT_FSIZE, &before_);
        handler_ = std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit = before_;
        limit.rlim_cur = 4;
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk() {
        ::setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit before_{};
    void (*handler_)(int) = SIG_DFL;
};

TEST_F(JsonDefaultsStoreTest, RegisteredDefaultsHoldForMissingKeysAndAreNeverWritten) {
    auto store = opened();
    EXPECT_FALSE(store->boolForKey("b"));
    EXPECT_EQ(store->floatForKey("f"), 0.0F);
    EXPECT_EQ(store->stringForKey("s"), std::nullopt);
    store->registerDefaults({{"b", true}, {"f", 1.0}, {"s", std::string("x")}});
    EXPECT_TRUE(store->boolForKey("b"));
    EXPECT_EQ(store->floatForKey("f"), 1.0F);
    EXPECT_EQ(store->stringForKey("s"), "x");
    EXPECT_FALSE(store->contains("b"));
    store->flush();
    EXPECT_FALSE(fs::exists(file_));
}

TEST_F(JsonDefaultsStoreTest, RemovingAKeyUncoversTheDefault) {
    auto store = storeOf(R"({"b": false})");
    store->registerDefaults({{"b", true}});
    EXPECT_FALSE(store->boolForKey("b"));
    store->remove("b");
    EXPECT_TRUE(store->boolForKey("b"));
    store->flush();
    EXPECT_EQ(readText(file_), "{}\n");
}

TEST_F(JsonDefaultsStoreTest, ConvertsWhatIsUnambiguous) {
    const auto store = storeOf(R"({"one": 1, "zero": 0, "half": "0.5", "Yes": "Yes", "no": "no",
                                   "true": true, "huge": 1e300, "infinite": "-inf"})");
    EXPECT_TRUE(store->boolForKey("one"));
    EXPECT_FALSE(store->boolForKey("zero"));
    EXPECT_TRUE(store->boolForKey("Yes"));
    EXPECT_FALSE(store->boolForKey("no"));
    EXPECT_EQ(store->floatForKey("half"), 0.5F);
    EXPECT_EQ(store->floatForKey("one"), 1.0F);
    EXPECT_EQ(store->floatForKey("true"), 1.0F);
    EXPECT_TRUE(std::isinf(store->floatForKey("huge")));
    EXPECT_EQ(store->floatForKey("infinite"), -std::numeric_limits<float>::infinity());
}

TEST_F(JsonDefaultsStoreTest, TreatsWhatDoesNotConvertAsMissing) {
    auto store = storeOf(R"({"b": "maybe", "f": "0.5x", "s": 5, "n": null, "l": [true]})");
    store->registerDefaults({{"b", true}, {"f", 0.25}, {"n", true}, {"l", true}});
    EXPECT_TRUE(store->boolForKey("b"));
    EXPECT_EQ(store->floatForKey("f"), 0.25F);
    EXPECT_EQ(store->stringForKey("s"), std::nullopt);
    EXPECT_TRUE(store->boolForKey("n"));
    EXPECT_TRUE(store->boolForKey("l"));
    EXPECT_TRUE(store->contains("n"));
}

TEST_F(JsonDefaultsStoreTest, EveryFloatComesBackAsItWas) {
    using Limits = std::numeric_limits<float>;
    const std::vector<float> values = {0.1F,
                                       0.7F,
                                       1.0F / 3,
                                       -0.2F,
                                       16777216.0F,
                                       Limits::max(),
                                       Limits::min(),
                                       -0.0F,
                                       Limits::denorm_min(),
                                       Limits::infinity(),
                                       -Limits::infinity()};
    for (const float value : values) {
        {
            auto store = opened();
            store->setFloat("f", value);
        }
        EXPECT_EQ(opened()->floatForKey("f"), value);
    }
    opened()->setFloat("f", Limits::quiet_NaN());
    EXPECT_TRUE(std::isnan(opened()->floatForKey("f")));
    EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(JsonDefaultsStoreTest, ManyChangesAreOneWriteAMomentLater) {
    auto store = opened();
    for (int i = 1; i <= 100; ++i)
        store->setFloat("f", static_cast<float>(i));
    EXPECT_EQ(time_.activeTimerCount(), 1u);
    time_.advance(JsonDefaultsStore::writeDelay - 0.01);
    EXPECT_FALSE(fs::exists(file_));
    time_.advance(0.02);
    store->awaitWriting();
    EXPECT_EQ(readText(file_), "{\n    \"f\": 100.0\n}\n");
    fs::remove(file_);
    time_.advance(60);
    store->awaitWriting();
    EXPECT_FALSE(fs::exists(file_)); // no second write
}

TEST_F(JsonDefaultsStoreTest, AChangeAfterAWriteIsWrittenToo) {
    auto store = opened();
    store->setBool("a", true);
    time_.advance(1);
    store->setBool("a", false);
    time_.advance(1);
    store->awaitWriting();
    EXPECT_EQ(readText(file_), "{\n    \"a\": false\n}\n");
}

TEST_F(JsonDefaultsStoreTest, SettingWhatIsStoredWritesNothing) {
    auto store = storeOf(R"({"a":true,"f":0.7,"s":"x"})");
    store->setBool("a", true);
    store->setFloat("f", 0.7F);
    store->setString("s", "x");
    store->remove("nothing");
    EXPECT_EQ(time_.activeTimerCount(), 0u);
    store->flush();
    EXPECT_EQ(readText(file_), R"({"a":true,"f":0.7,"s":"x"})");
}

TEST_F(JsonDefaultsStoreTest, WritesWhatIsPendingWhenDestroyed) {
    opened()->setString("s", "x");
    EXPECT_EQ(readText(file_), "{\n    \"s\": \"x\"\n}\n");
}

TEST_F(JsonDefaultsStoreTest, KeepsKeysItDoesNotKnow) {
    storeOf(R"({"later.version": {"list": [1, 2.5, null]}, "b": false})")->setBool("b", true);
    EXPECT_EQ(readText(file_), R"({
    "b": true,
    "later.version": {
        "list": [
            1,
            2.5,
            null
        ]
    }
}
)");
}

TEST_F(JsonDefaultsStoreTest, CreatesTheFolderAndAFileThatOnlyTheUserCanRead) {
    file_ = folder_ / "config/morvel/settings.json";
    opened()->setBool("a", true);
    struct stat status {};
    ASSERT_EQ(::stat(file_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    ASSERT_EQ(::stat(file_.parent_path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700u);
}

TEST_F(JsonDefaultsStoreTest, LeavesNoTemporaryFileBehind) {
    auto store = opened();
    store->setString("long", std::string(100, 'x'));
    {
        const FullDisk full;
        store->flush();
    }
    EXPECT_TRUE(fs::is_empty(folder_.path()));
    store->flush();
    EXPECT_EQ(std::distance(fs::directory_iterator(folder_.path()), {}), 1);
}

TEST_F(JsonDefaultsStoreTest, TextThatIsNotUtf8IsStoredRepaired) {
    opened()->setString("s", "a\xff"
                             "b");
    EXPECT_EQ(opened()->stringForKey("s"), "a\xef\xbf\xbd"
                                           "b");
}

TEST_F(JsonDefaultsStoreTest, SetsAsideWhatIsNoJsonObject) {
    const std::string deep =
        R"({"a": )" + std::string(200000, '[') + std::string(200000, ']') + "}";
    const Lines hostile = {"",
                           "not json",
                           "[1, 2]",
                           "42",
                           "null",
                           "{\"a\": 1",
                           "{} {}",
                           deep,
                           "{\"a\": 1e999}",
                           "{\"a\": \"\xff\"}",
                           std::string("\0\0\0\0", 4)};
    for (const std::string& text : hostile) {
        log_.clear();
        fs::remove(damaged());
        writeText(file_, text);
        expectSetAside();
        EXPECT_EQ(readText(damaged()), text);
    }
}

TEST_F(JsonDefaultsStoreTest, SetsAsideAFileThatIsTooLong) {
    writeText(file_, "{\"a\": \"" + std::string(JsonDefaultsStore::longestFile, 'x') + "\"}");
    expectSetAside();
}

TEST_F(JsonDefaultsStoreTest, SetsAsideAFolderInTheFilesPlace) {
    fs::create_directories(file_ / "inside");
    expectSetAside();
    EXPECT_TRUE(fs::is_directory(damaged() / "inside"));
}

TEST_F(JsonDefaultsStoreTest, SetsAsideAPipeInTheFilesPlaceWithoutWaitingForAWriter) {
    ASSERT_EQ(::mkfifo(file_.c_str(), 0600), 0);
    expectSetAside();
    EXPECT_TRUE(fs::is_fifo(damaged()));
}

TEST_F(JsonDefaultsStoreTest, ALinkToADeviceIsSetAsideItself) {
    fs::create_symlink("/dev/zero", file_);
    expectSetAside();
    EXPECT_EQ(fs::read_symlink(damaged()), "/dev/zero");
    EXPECT_TRUE(fs::is_character_file("/dev/zero"));
}

TEST_F(JsonDefaultsStoreTest, ALinkToItselfIsSetAside) {
    fs::create_symlink(file_, file_);
    expectSetAside();
}

TEST_F(JsonDefaultsStoreTest, NeverOverwritesAnOlderDamagedFile) {
    writeText(damaged(), "oldest");
    writeText(damaged(".2"), "older");
    storeOf("damaged");
    EXPECT_EQ(readText(damaged()), "oldest");
    EXPECT_EQ(readText(damaged(".2")), "older");
    EXPECT_EQ(readText(damaged(".3")), "damaged");
}

TEST_F(JsonDefaultsStoreTest, ADamagedFileThatCannotBeMovedIsNotOverwritten) {
    // Every name it could take is in use.
    fs::create_symlink("nowhere", damaged());
    for (int number = 2; number <= 1000; ++number)
        fs::create_symlink("nowhere", damaged("." + std::to_string(number)));
    auto store = storeOf("damaged");
    store->setBool("a", true);
    store->flush();
    EXPECT_TRUE(store->boolForKey("a"));
    EXPECT_EQ(readText(file_), "damaged");
    EXPECT_EQ(log_.lines().size(), 1u);
    fs::remove(damaged(".500"));
    store->flush();
    EXPECT_EQ(readText(damaged(".500")), "damaged");
    EXPECT_EQ(readText(file_), "{\n    \"a\": true\n}\n");
}

TEST_F(JsonDefaultsStoreTest, WritesThroughASymbolicLinkAndKeepsIt) {
    fs::create_directory(folder_ / "dotfiles");
    writeText(folder_ / "dotfiles/morvel.json", R"({"b": false})");
    fs::create_symlink("dotfiles/morvel.json", file_);
    opened()->setBool("b", true);
    EXPECT_TRUE(fs::is_symlink(file_));
    EXPECT_FALSE(fs::is_symlink(folder_ / "dotfiles/morvel.json"));
    EXPECT_EQ(readText(folder_ / "dotfiles/morvel.json"), "{\n    \"b\": true\n}\n");
}

TEST_F(JsonDefaultsStoreTest, WritesTheMissingTargetOfASymbolicLink) {
    fs::create_symlink(folder_ / "dotfiles/morvel.json", file_);
    opened()->setBool("b", true);
    EXPECT_TRUE(fs::is_symlink(file_));
    EXPECT_EQ(readText(folder_ / "dotfiles/morvel.json"), "{\n    \"b\": true\n}\n");
    EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(JsonDefaultsStoreTest, ADamagedTargetIsSetAsideBesideItselfAndTheLinkStays) {
    writeText(folder_ / "dotfiles/morvel.json", "damaged");
    fs::create_symlink(folder_ / "dotfiles/morvel.json", file_);
    opened()->setBool("b", true);
    EXPECT_TRUE(fs::is_symlink(file_));
    EXPECT_EQ(readText(folder_ / "dotfiles/morvel.json.damaged"), "damaged");
    EXPECT_EQ(readText(folder_ / "dotfiles/morvel.json"), "{\n    \"b\": true\n}\n");
}

TEST_F(JsonDefaultsStoreTest, AFullDiskIsOneLineAndTheNextChangeTriesAgain) {
    auto store = storeOf(R"({"a": false})");
    {
        const FullDisk full;
        for (int i = 0; i < 5; ++i) {
            store->setBool("a", i % 2 == 0);
            time_.advance(1);
            store->awaitWriting();
        }
    }
    EXPECT_TRUE(store->boolForKey("a"));
    EXPECT_EQ(readText(file_), R"({"a": false})");
    ASSERT_EQ(log_.lines().size(), 1u);
    EXPECT_TRUE(log_.lines()[0].starts_with("[Morvel] Settings cannot be saved: "));
    store->setBool("a", true); // as it is, but not yet on disk
    time_.advance(1);
    store->awaitWriting();
    EXPECT_EQ(readText(file_), "{\n    \"a\": true\n}\n");
    EXPECT_EQ(log_.lines().size(), 1u);
    {
        const FullDisk full;
        store->setBool("a", false);
        time_.advance(1);
        store->awaitWriting();
    }
    EXPECT_EQ(log_.lines().size(), 2u); // another outage
}

TEST_F(JsonDefaultsStoreTest, AFolderThatCannotBeMadeIsOneLineAndTheValuesLiveOn) {
    writeText(folder_ / "blocked", "a file where the folder should be");
    file_ = folder_ / "blocked/morvel/settings.json";
    auto store = opened();
    EXPECT_EQ(log_.lines(), Lines{});
    store->setBool("a", true);
    time_.advance(1);
    store->awaitWriting();
    store->setBool("b", true);
    time_.advance(1);
    store->awaitWriting();
    EXPECT_TRUE(store->boolForKey("a"));
    EXPECT_EQ(log_.lines().size(), 1u);
    fs::remove(folder_ / "blocked");
    store->setBool("c", true);
    time_.advance(1);
    store->awaitWriting();
    EXPECT_EQ(readText(file_), "{\n    \"a\": true,\n    \"b\": true,\n    \"c\": true\n}\n");
}

} // namespace
} // namespace morvel
