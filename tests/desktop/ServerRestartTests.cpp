// The sound server dies and comes back while somebody types: the real tap, engine and output on a
// main run loop whose every turn is timed.

#include "app/login/LaunchAtLogin.h"
#include "app/settings/JsonDefaultsStore.h"
#include "keyboard/KeyboardEngine.h"
#include "platform/SystemRandom.h"
#include "platform/linux/ProcfsProcessTable.h"
#include "platform/linux/PulseAudioServer.h"
#include "platform/linux/SystemClock.h"
#include "platform/linux/X11KeyTap.h"
#include "platform/output/ServerAudioOutput.h"
#include "platform/qt/QtScheduler.h"
#include "platform/simulated/SimulatedApplicationActivation.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/SimulatedLoginItem.h"
#include "tests/support/MainLoop.h"
#include "tests/support/PulseServer.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/XServer.h"
#include "themes/SoundTheme.h"
#include "tools/audition/Audition.h"

#include <gtest/gtest.h>

#include <QAbstractEventDispatcher>
#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <mutex>
#include <thread>

namespace morvel {
namespace {

using namespace std::chrono_literals;
using Clock_ = std::chrono::steady_clock;

// The longest time between waking up and waiting again, less what the machine made this thread wait
// for a processor: other programs' work is not ours.
class LoopWatch {
public:
    LoopWatch() {
        auto* dispatcher = QAbstractEventDispatcher::instance();
        QObject::connect(dispatcher, &QAbstractEventDispatcher::awake, &context_, [this] {
            woke_ = Clock_::now();
            queuedAtWake_ = queued();
        });
        QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, &context_, [this] {
            if (woke_ != Clock_::time_point{})
                longest = std::max(longest, Clock_::now() - woke_ - (queued() - queuedAtWake_));
        });
    }

    Clock_::duration longest{};

private:
    // The second figure of the scheduler's statistics: time spent runnable, but not running.
    static std::chrono::nanoseconds queued() {
        std::ifstream statistics("/proc/thread-self/schedstat");
        std::int64_t ran = 0;
        std::int64_t waited = 0;
        statistics >> ran >> waited;
        return std::chrono::nanoseconds(waited);
    }

    QObject context_;
    Clock_::time_point woke_{};
    std::chrono::nanoseconds queuedAtWake_{};
};

// Types from a thread of its own, as a person does who knows nothing of servers.
class Typist {
public:
    explicit Typist(const std::string& display)
        : thread_([this, display] {
            audition::KeyInjector keys(display);
            const auto word = audition::typingScript("a");
            while (!done_)
                audition::perform(keys, word);
        }) {}
    ~Typist() {
        done_ = true;
        thread_.join();
    }
    Typist(const Typist&) = delete;
    Typist& operator=(const Typist&) = delete;

private:
    std::atomic<bool> done_ = false;
    std::thread thread_;
};

// Does what would block the main loop. A server ends with the thread that started it, so the thread
// is one and the same until the end.
class Worker {
public:
    Worker()
        : thread_([this] {
            std::unique_lock lock(mutex_);
            while (!done_) {
                if (work_)
                    std::exchange(work_, nullptr)();
                else
                    wake_.wait(lock);
            }
        }) {}
    ~Worker() {
        {
            const std::lock_guard lock(mutex_);
            done_ = true;
        }
        wake_.notify_one();
        thread_.join();
    }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    void run(std::function<void()> work) {
        {
            const std::lock_guard lock(mutex_);
            work_ = std::move(work);
        }
        wake_.notify_one();
    }

private:
    std::mutex mutex_;
    std::condition_variable wake_;
    std::function<void()> work_;
    bool done_ = false;
    std::thread thread_;
};

TEST(ServerRestart, SoundReturnsWithinTwoSecondsAndTheMainLoopIsNeverBlocked) {
    const TemporaryFolder folder;
    test::XServer x;
    test::PulseServer sound(folder.path() / "sound");
    sound.start();
    setenv("PULSE_SERVER", sound.address().c_str(), 1); // NOLINT(concurrency-mt-unsafe)

    SimulatedLog log;
    SystemClock clock;
    SystemRandom random;
    QtScheduler scheduler;
    ServerAudioOutput output(pulseAudioServer, scheduler, log);
    AudioEngine audio({output, clock, scheduler, random, log}, false);
    SimulatedLoginItem loginItem;
    LaunchAtLogin login(loginItem, {}, {}, log);
    JsonDefaultsStore defaults(folder.path() / "settings.json", scheduler, log);
    AppSettings settings(defaults, audio, login, log);
    const auto display = X11Connection::open(x.display());
    ASSERT_TRUE(display);
    X11TrustSource trust(display.get());
    const ProcfsProcessTable processes;
    SimulatedApplicationActivation activation;
    AccessibilityPermission permission({trust, processes, clock, scheduler, activation, log}, {},
                                       [](const std::string&) { return std::nullopt; });
    X11KeyTap tap(*display, clock);
    KeyboardEngine keyboard({tap, settings, permission, audio, clock, log}, false);
    const ThemeCatalog catalog(MORVEL_SOURCE_THEMES, {}, log);
    const auto theme = SoundTheme::load("mechanical", catalog, log, random);
    ASSERT_TRUE(theme);
    audio.setResolver(theme.value());
    ASSERT_TRUE(keyboard.start());
    ASSERT_TRUE(test::runUntil([&] { return output.state() == AudioOutputState::running; }));

    Typist typist(x.display());
    {
        audition::MonitorRecorder before("speaker.monitor", sound.address());
        ASSERT_TRUE(test::runUntil([&] { return before.loudest() > 0.05F; }));
    }
    Worker worker;
    LoopWatch watch;
    for (int round = 0; round < 3; ++round) {
        sound.kill();
        ASSERT_TRUE(test::runUntil([&] { return output.state() == AudioOutputState::lost; }));
        // Typing goes on for a while with nobody to play it.
        const auto silentSince = Clock_::now();
        ASSERT_TRUE(test::runUntil([&] { return Clock_::now() - silentSince > 1s; }));
        std::atomic<bool> back = false;
        Clock_::time_point returned;
        std::unique_ptr<audition::MonitorRecorder> recorder;
        worker.run([&] {
            sound.start();
            returned = Clock_::now();
            recorder =
                std::make_unique<audition::MonitorRecorder>("speaker.monitor", sound.address());
            back = true;
        });
        ASSERT_TRUE(test::runUntil([&] { return back.load(); }));
        ASSERT_TRUE(test::runUntil([&] { return recorder->loudest() > 0.05F; }))
            << "round " << round << ", output state " << static_cast<int>(output.state()) << '\n'
            << testing::PrintToString(log.lines());
        EXPECT_LT(Clock_::now() - returned, 2s) << "round " << round;
    }
    const auto blockedMs = std::chrono::duration<double, std::milli>(watch.longest).count();
    RecordProperty("longest_block_ms", std::to_string(blockedMs));
    std::cout << "longest block of the main loop: " << blockedMs << " ms\n";
    EXPECT_LT(blockedMs, 20);

    std::size_t failures = 0;
    for (const std::string& line : log.lines())
        failures += line.find("AudioEngine failed to start") != std::string::npos ? 1 : 0;
    EXPECT_EQ(failures, 3u) << "one line an outage";
}

} // namespace
} // namespace morvel
