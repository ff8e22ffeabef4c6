// That nobody waits for a slow disk, and what is on it whatever happens: the C library's entry
// points to it are replaced by ones that a test can make hang and that note who calls.
#include "app/settings/JsonDefaultsStore.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/VirtualTime.h"
#include "tests/support/TemporaryFolder.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <memory>
#include <mutex>
#include <semaphore>
#include <thread>

namespace {

using namespace std::chrono_literals;

// Where every write to disk ends.
class Disk {
public:
    // A call of the thread that watch() was called on is noted; calls of others wait while it
    // hangs.
    void enter() {
        std::unique_lock lock(mutex_);
        if (std::this_thread::get_id() == watched_) {
            ++callsOfWatched_;
            return;
        }
        ++waiting_;
        changed_.notify_all();
        changed_.wait(lock, [this] { return !hangs_; });
        --waiting_;
    }
    void watch() {
        const std::lock_guard lock(mutex_);
        watched_ = std::this_thread::get_id();
        callsOfWatched_ = 0;
    }
    int callsOfWatched() {
        const std::lock_guard lock(mutex_);
        return callsOfWatched_;
    }
    void unwatch() {
        const std::lock_guard lock(mutex_);
        watched_ = {};
    }
    void setHangs(bool hangs) {
        const std::lock_guard lock(mutex_);
        hangs_ = hangs;
        changed_.notify_all();
    }
    // Whether somebody hangs within some seconds.
    bool awaitCaller() {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, 20s, [this] { return waiting_ > 0; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::thread::id watched_;
    int callsOfWatched_ = 0;
    int waiting_ = 0;
    bool hangs_ = false;
};

Disk disk;
std::atomic<int> renames = 0;

} // namespace

extern "C" {
int fsync(int descriptor) {
    using Fsync = int (*)(int);
    static const Fsync next = reinterpret_cast<Fsync>(dlsym(RTLD_NEXT, "fsync"));
    disk.enter();
    return next(descriptor);
}
int rename(const char* from, const char* to) noexcept {
    using Rename = int (*)(const char*, const char*);
    static const Rename next = reinterpret_cast<Rename>(dlsym(RTLD_NEXT, "rename"));
    disk.enter();
    ++renames;
    return next(from, to);
}
}

namespace morvel {
namespace {

namespace fs = std::filesystem;

// Tells when another thread has queued something.
class AwaitableTime : public VirtualTime {
public:
    void async(std::function<void()> work) override {
        VirtualTime::async(std::move(work));
        queued_.release();
    }
    bool awaitWork() { return queued_.try_acquire_for(20s); }

private:
    std::counting_semaphore<> queued_{0};
};

class SettingsWritingTest : public testing::Test {
protected:
    ~SettingsWritingTest() override {
        disk.setHangs(false);
        disk.unwatch();
    }
    std::unique_ptr<JsonDefaultsStore> opened() {
        return std::make_unique<JsonDefaultsStore>(file_, time_, log_);
    }

    TemporaryFolder folder_;
    fs::path file_ = folder_ / "settings.json";
    AwaitableTime time_;
    SimulatedLog log_;
};

TEST_F(SettingsWritingTest, TheMainThreadIsNeverInTheFileSystemWhileAHungDiskIsWrittenTo) {
    auto store = opened();
    disk.watch();
    disk.setHangs(true);
    for (int i = 1; i <= 100; ++i) {
        store->setFloat("f", static_cast<float>(i));
        store->setString("s", std::to_string(i));
        time_.advance(1);
    }
    EXPECT_TRUE(disk.awaitCaller());
    store->remove("s");
    time_.advance(1);
    EXPECT_EQ(store->floatForKey("f"), 100.0F);
    EXPECT_FALSE(fs::exists(file_));
    EXPECT_EQ(disk.callsOfWatched(), 0);
    disk.setHangs(false);
    store->awaitWriting();
    EXPECT_EQ(disk.callsOfWatched(), 0);
    EXPECT_EQ(readText(file_), "{\n    \"f\": 100.0\n}\n");
}

TEST_F(SettingsWritingTest, ChangesThatPileUpDuringOneWriteAreOneMore) {
    auto store = opened();
    disk.setHangs(true);
    store->setBool("a", true);
    time_.advance(1);
    ASSERT_TRUE(disk.awaitCaller());
    for (int i = 1; i <= 50; ++i) {
        store->setFloat("f", static_cast<float>(i));
        time_.advance(1);
    }
    renames = 0;
    disk.setHangs(false);
    store->awaitWriting();
    EXPECT_EQ(renames, 2);
    EXPECT_EQ(readText(file_), "{\n    \"a\": true,\n    \"f\": 50.0\n}\n");
}

TEST_F(SettingsWritingTest, WhatIsPendingDuringAWriteIsOnDiskAfterDestruction) {
    auto store = opened();
    disk.setHangs(true);
    store->setFloat("f", 1);
    time_.advance(1);
    ASSERT_TRUE(disk.awaitCaller());
    store->setFloat("f", 2);
    time_.advance(1); // handed over
    store->setFloat("f", 3);
    std::thread recovery([] { disk.setHangs(false); });
    store.reset();
    recovery.join();
    EXPECT_EQ(readText(file_), "{\n    \"f\": 3.0\n}\n");
}

TEST_F(SettingsWritingTest, AFailedWriteIsReportedOnTheMainThreadAndTheNextChangeTriesAgain) {
    writeText(folder_ / "blocked", "a file where the folder should be");
    file_ = folder_ / "blocked/settings.json";
    auto store = opened();
    store->setBool("a", true);
    time_.advance(JsonDefaultsStore::writeDelay);
    ASSERT_TRUE(time_.awaitWork());
    time_.runPending();
    ASSERT_EQ(log_.lines().size(), 1u);
    EXPECT_TRUE(log_.lines()[0].starts_with("[Morvel] Settings cannot be saved: "));
    fs::remove(folder_ / "blocked");
    EXPECT_EQ(time_.activeTimerCount(), 0u) << "it waits for a change";
    store->setBool("a", true);
    time_.advance(JsonDefaultsStore::writeDelay);
    ASSERT_TRUE(time_.awaitWork());
    EXPECT_EQ(readText(file_), "{\n    \"a\": true\n}\n");
    EXPECT_EQ(log_.lines().size(), 1u);
}

TEST_F(SettingsWritingTest, AReportThatComesAfterTheStoreHasGoneIsDropped) {
    file_ = folder_ / "blocked/settings.json";
    writeText(folder_ / "blocked", "a file where the folder should be");
    opened()->setBool("a", true);
    EXPECT_EQ(log_.lines().size(), 1u);
    ASSERT_TRUE(time_.awaitWork());
    time_.runPending();
    EXPECT_EQ(log_.lines().size(), 1u);
}

TEST_F(SettingsWritingTest, AStoreThatNobodyChangesBeginsNoThread) {
    const auto threads = [] {
        return std::distance(fs::directory_iterator("/proc/self/task"), {});
    };
    const auto before = threads();
    auto store = opened();
    store->flush();
    EXPECT_EQ(threads(), before);
}

TEST_F(SettingsWritingTest, ADamagedFileIsSetAsideByTheWriterOnceItCanBeAndOnlyOnce) {
    writeText(file_, "damaged");
    const auto aside = [this](int number) {
        return folder_ / (number == 1 ? std::string("settings.json.damaged")
                                      : "settings.json.damaged." + std::to_string(number));
    };
    for (int number = 1; number <= 1000; ++number)
        fs::create_symlink("nowhere", aside(number));
    auto store = opened();
    fs::remove(aside(7));
    disk.watch();
    disk.setHangs(true);
    store->setBool("a", true);
    time_.advance(1);
    ASSERT_TRUE(disk.awaitCaller());
    store->setBool("a", false);
    time_.advance(1);
    disk.setHangs(false);
    store->awaitWriting();
    EXPECT_EQ(disk.callsOfWatched(), 0);
    EXPECT_EQ(readText(aside(7)), "damaged");
    EXPECT_EQ(readText(file_), "{\n    \"a\": false\n}\n");
    EXPECT_EQ(log_.lines().size(), 2u) << "that it cannot be set aside, and that it was";
}

// Changes the settings for ever, and says so after each write.
[[noreturn]] void changeSettings(const fs::path& file, int pipe) {
    VirtualTime time;
    SimulatedLog log;
    JsonDefaultsStore store(file, time, log);
    for (int i = 1;; ++i) {
        store.setFloat("f", static_cast<float>(i));
        store.setString("s", std::string(static_cast<std::size_t>(i % 7) * 3000, 'x'));
        time.advance(1);
        if (i > 1)
            store.awaitWriting();
        if (write(pipe, "x", 1) != 1)
            _exit(1);
    }
}

TEST_F(SettingsWritingTest, AProgramKilledAtAnyMomentLeavesAWholeFile) {
    for (const int writes : {2, 3, 4, 5, 7, 9, 12}) {
        std::array<int, 2> ends{};
        ASSERT_EQ(pipe(ends.data()), 0);
        const pid_t child = fork();
        if (child == 0)
            changeSettings(file_, ends[1]);
        close(ends[1]);
        char byte = 0;
        for (int i = 0; i < writes; ++i)
            ASSERT_EQ(read(ends[0], &byte, 1), 1);
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        close(ends[0]);
        const auto store = opened();
        EXPECT_GE(store->floatForKey("f"), static_cast<float>(writes - 1));
        ASSERT_TRUE(log_.lines().empty()) << log_.lines()[0];
    }
}

} // namespace
} // namespace morvel
