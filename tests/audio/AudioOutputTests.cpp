// The engine with real sound servers: what is heard, and what happens when the server goes.
#include "platform/output/ServerAudioOutput.h"
#include "tests/audio/OutputFixture.h"
#include "tests/support/ProcessWakeUps.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <thread>

namespace morvel {
namespace {

using namespace std::chrono_literals;

class AudioOutputTest : public test::OutputTest {
protected:
    bool mayBeRealtime = true;
};

TEST_P(AudioOutputTest, AKeyIsHeardAtOnceAndAsLoudAsItIs) {
    server->start();
    build();
    ASSERT_TRUE(awaitState(AudioOutputState::running));
    record();
    std::vector<std::uint64_t> pressed;
    for (int i = 0; i < 20; ++i) {
        wait(0.1 + 0.0007 * i); // at all places within the server's period
        pressed.push_back(clock.hostNanos());
        press();
    }
    wait(0.2);
    const auto recording = recorder->finish();
    const auto left = test::channel(recording.interleaved, 0);
    EXPECT_NEAR(test::peak(left), 0.5F, 0.005F);
    std::vector<double> delays;
    for (const std::uint64_t time : pressed) {
        std::size_t frame = 0;
        while (frame < left.size() &&
               (std::abs(left[frame]) < 0.05F || recording.hostNanos(frame) < time))
            ++frame;
        ASSERT_LT(frame, left.size());
        delays.push_back(static_cast<double>(recording.hostNanos(frame) - time) / 1e6);
    }
    std::ranges::sort(delays);
    std::printf("press to monitor: median %.2f ms, worst %.2f ms\n", delays[delays.size() / 2],
                delays.back());
    EXPECT_LT(delays[delays.size() / 2], GetParam().medianBudgetMs) << "milliseconds";
}

TEST_P(AudioOutputTest, TheRealPeriodIsReadBackAndLogged) {
    server->start();
    build();
    ASSERT_TRUE(awaitState(AudioOutputState::running));
    const auto polling = scheduler.repeating(0.01, [] {});
    ASSERT_TRUE(test::runUntil([&] { return lineCount("Audio output: ") > 0; }));
    EXPECT_GT(output->periodFrames(), 0U);
    EXPECT_LE(output->periodFrames(), 1024U);
    EXPECT_GE(output->latencyFrames(), 32U);
    EXPECT_LE(output->latencyFrames(), 2048U);
    EXPECT_EQ(lineCount(std::string("Audio output: ") + GetParam().name), 1);
    EXPECT_EQ(output->serverName(), GetParam().name);
    std::printf("%s\n", log.lines().back().c_str());
}

TEST_P(AudioOutputTest, TheAudioThreadGoesBeforeOrdinaryOnesWhereTheProcessMayAskForIt) {
    const sched_param lowest{.sched_priority = 1};
    std::thread probe([&] {
        if (sched_setscheduler(0, SCHED_RR, &lowest) != 0)
            mayBeRealtime = false;
    });
    probe.join();
    if (!mayBeRealtime)
        GTEST_SKIP() << "this process may not";
    server->start();
    build();
    ASSERT_TRUE(awaitState(AudioOutputState::running));
    const auto realtimeThreads = [] {
        int count = 0;
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task"))
            count += (sched_getscheduler(std::stoi(entry.path().filename().string())) &
                      ~SCHED_RESET_ON_FORK) == GetParam().policy
                         ? 1
                         : 0;
        return count;
    };
    const auto polling = scheduler.repeating(0.01, [] {});
    EXPECT_TRUE(test::runUntil([&] { return realtimeThreads() == 1; }));
}

TEST_P(AudioOutputTest, WithoutAServerThereIsSilenceAndOneLineAndThenSoundWhenItAppears) {
    build();
    for (int i = 0; i < 150; ++i) {
        press();
        wait(0.01);
    }
    EXPECT_EQ(output->state(), AudioOutputState::lost);
    EXPECT_EQ(lineCount("AudioEngine failed to start: "), 1);
    EXPECT_LE(waits, few) << "keys waited";
    EXPECT_LT(longestWait, aMoment);
    server->start();
    const Time returned = now();
    ASSERT_TRUE(awaitState(AudioOutputState::running));
    EXPECT_LT(now() - returned, 2s);
    wait(0.05);
    record();
    press();
    EXPECT_TRUE(heard());
    EXPECT_EQ(lineCount("AudioEngine failed to start: "), 1);
}

TEST_P(AudioOutputTest, WithoutAServerNobodyWakesAndOneThatAppearsIsHeardOfAtOnce) {
    build();
    ASSERT_TRUE(awaitState(AudioOutputState::lost));
    wait(0.2);
    const std::uint64_t before = test::wakeUpsOf(getpid());
    wait(3);
    EXPECT_LE(test::wakeUpsOf(getpid()) - before, 3U);
    engine->startLoop(SoundCategory::dialLoop, 0.5F, 1);
    server->start();
    const Time returned = now();
    ASSERT_TRUE(awaitState(AudioOutputState::running));
    EXPECT_LT(now() - returned, 1s);
    record();
    EXPECT_TRUE(heard());
}

TEST_P(AudioOutputTest, ASecondOutageIsLoggedAnew) {
    server->start();
    build();
    for (int outage = 1; outage <= 2; ++outage) {
        ASSERT_TRUE(awaitState(AudioOutputState::running));
        wait(0.1);
        server->kill();
        ASSERT_TRUE(awaitState(AudioOutputState::lost));
        wait(0.1);
        EXPECT_EQ(lineCount("AudioEngine failed to start: "), outage);
        server->start();
    }
}

TEST_P(AudioOutputTest, AServerThatStopsInGoodOrderIsAnOutageToo) {
    server->start();
    build();
    ASSERT_TRUE(awaitState(AudioOutputState::running));
    server->stop();
    EXPECT_TRUE(awaitState(AudioOutputState::lost));
    wait(0.1);
    EXPECT_EQ(lineCount("AudioEngine failed to start: "), 1);
}

TEST_P(AudioOutputTest, AHungServerBlocksNeitherPlaysNorTheEnd) {
    server->start();
    build();
    ASSERT_TRUE(awaitState(AudioOutputState::running));
    wait(0.1);
    server->signal(SIGSTOP);
    for (int i = 0; i < 50; ++i) {
        press();
        wait(0.01);
    }
    const long waitsBefore = test::waitsOfThisThread();
    output->pause();
    output->start();
    waits += test::waitsOfThisThread() - waitsBefore;
    output->pause(); // the control thread now waits for the server
    wait(0.2);
    EXPECT_LE(waits, few) << "keys waited";
    EXPECT_LT(longestWait, aMoment);
    const Time ending = now();
    engine.reset();
    output.reset();
    EXPECT_LT(now() - ending, 3s);
    server->signal(SIGCONT);
    wait(0.3);
}

TEST_P(AudioOutputTest, ItEndsQuicklyWhileTheServerIsMissing) {
    auto quickest = Time::duration::max();
    for (int end = 0; end < 3; ++end) {
        build();
        ASSERT_TRUE(awaitState(AudioOutputState::lost));
        const Time ending = now();
        engine.reset();
        output.reset();
        quickest = std::min(quickest, now() - ending);
    }
    EXPECT_LT(quickest, ServerAudioOutput::Options{}.patience) << "nobody has to be left behind";
}

INSTANTIATE_TEST_SUITE_P(Servers, AudioOutputTest,
                         testing::Values(test::pulseAudioKind, test::pipeWireKind),
                         [](const auto& server) { return std::string(server.param.name); });

} // namespace
} // namespace morvel
