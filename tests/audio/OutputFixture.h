// The engine with a real sound server, whose sinks are recorded.
#pragma once

#include "audio/AudioEngine.h"
#include "platform/linux/SystemClock.h"
#include "platform/qt/QtScheduler.h"
#include "platform/simulated/ScriptedRandom.h"
#include "platform/simulated/SimulatedLog.h"
#include "tests/audio/EngineFixture.h"
#include "tests/audio/Signals.h"
#include "tests/audio/SoundServer.h"
#include "tests/support/MainLoop.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/ThreadWaits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <string_view>

namespace morvel::test {

class OutputTest : public testing::TestWithParam<SoundServerKind> {
protected:
    using Time = std::chrono::steady_clock::time_point;

    void SetUp() override {
        theme->set(SoundCategory::keyDown, sine(1000, 2205, 0.5F));
        theme->set(SoundCategory::dialLoop, sine(1000, 44100, 0.5F));
    }
    void TearDown() override {
        recorder.reset();
        engine.reset();
        output.reset();
    }

    static Time now() { return std::chrono::steady_clock::now(); }

    void build(const AudioEngine::Options& options = {}) {
        output = asInTheProgram ? server->makeChoice(scheduler, log)
                                : server->makeOutput(scheduler, log);
        engine = std::make_unique<AudioEngine>(
            AudioEngine::Services{*output, clock, scheduler, random, log}, false, options);
        engine->setResolver(theme);
    }
    bool awaitState(AudioOutputState state) {
        const auto polling = scheduler.repeating(0.005, [] {});
        return runUntil([&] { return output->state() == state; }, std::chrono::seconds(10));
    }
    void record() { recorder = server->record(); }
    // Plays a key, and counts in `waits` what that has waited for, and how long at most.
    void press() {
        const long before = waitsOfThisThread();
        const auto begin = now();
        engine->play(SoundCategory::keyDown, 1, false);
        const long waited = waitsOfThisThread() - before;
        waits += waited;
        if (waited > 0)
            longestWait = std::max(longestWait, now() - begin);
    }
    // Whether the recording holds a sound, or does within `limit`. The main loop goes on.
    bool heard(std::chrono::milliseconds limit = std::chrono::seconds(2)) {
        const auto polling = scheduler.repeating(0.002, [] {});
        return runUntil([&] { return recorder->loudest() > 0.05F; }, limit);
    }
    void wait(double seconds) {
        bool over = false;
        const auto timer = scheduler.after(seconds, [&] { over = true; });
        runUntil([&] { return over; });
    }
    int lineCount(std::string_view part) const {
        int count = 0;
        for (const std::string& line : log.lines())
            count += line.find(part) == std::string::npos ? 0 : 1;
        return count;
    }

    TemporaryFolder folder;
    std::unique_ptr<SoundServer> server = GetParam().make(folder.path() / "sound");
    QtScheduler scheduler;
    SimulatedLog log;
    SystemClock clock;
    ScriptedRandom random{{0}};
    std::shared_ptr<MadeUpTheme> theme = std::make_shared<MadeUpTheme>();
    std::unique_ptr<AudioOutput> output;
    std::unique_ptr<AudioEngine> engine;
    std::unique_ptr<SinkRecorder> recorder;
    bool asInTheProgram = false; // that output, for build()
    long waits = 0;              // of all presses
    // Of some dozens of keys a few may meet a lock that another thread holds for a moment.
    static constexpr long few = 4;
    Time::duration longestWait{};
    // Longer than a busy machine holds a thread up, shorter than a call to a server that hangs.
    static constexpr auto aMoment = std::chrono::milliseconds(500);
};

} // namespace morvel::test
