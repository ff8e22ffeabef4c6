// Real outputs that the engine lets sleep: what the next sound finds, and whether it is whole.
#include "tests/audio/OutputFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace morvel {
namespace {

using test::SoundServer;

class OutputSleepTest : public test::OutputTest {
protected:
    static constexpr int frames = 2205;

    void SetUp() override {
        theme->set(SoundCategory::keyDown, test::constant(0.5F, frames));
        options.keepWarmSeconds = 0.4;
    }
    // Presses a key and ends the recording, which holds that sound from its first sample to its
    // last. A busy machine may leave a gap in one of several takes; no sample is lost by that.
    void expectAWholeSound() {
        press();
        ASSERT_TRUE(heard());
        wait(0.2);
        const auto left = test::channel(recorder->finish().interleaved, 0);
        recorder.reset();
        const auto sounds = [](float sample) { return sample > 0.25F; };
        const auto begin = std::ranges::find_if(left, sounds);
        const auto end = std::find_if(left.rbegin(), left.rend(), sounds).base();
        // A server that works at another rate rounds the corners.
        EXPECT_NEAR(static_cast<int>(std::count_if(begin, end, sounds)), frames, 4);
        gapless += std::all_of(begin, end, sounds) ? 1 : 0;
    }

    AudioEngine::Options options;
    int gapless = 0;
};

TEST_P(OutputSleepTest, APausedOutputRendersNothingAndTheNextSoundResumesIt) {
    server->start();
    build(options);
    ASSERT_TRUE(awaitState(AudioOutputState::running));
    press();
    ASSERT_TRUE(awaitState(AudioOutputState::paused));
    wait(0.3);
    record();
    EXPECT_EQ(recorder->loudest(), 0);
    const auto before = now();
    press();
    ASSERT_TRUE(heard());
    std::printf("resumed and heard after %.1f ms\n",
                std::chrono::duration<double, std::milli>(now() - before).count());
    EXPECT_EQ(lineCount("failed"), 0);
}

TEST_P(OutputSleepTest, TheFirstSoundAfterAPauseIsWholeFromItsFirstSample) {
    server->start();
    build(options);
    int unhurried = 0; // one key or another may meet a lock that is held for a moment
    for (int pause = 0; pause < 3; ++pause) {
        SCOPED_TRACE(pause);
        ASSERT_TRUE(awaitState(AudioOutputState::paused));
        record();
        waits = 0;
        expectAWholeSound();
        unhurried += waits == 0 ? 1 : 0;
    }
    EXPECT_GT(gapless, 0);
    EXPECT_GT(unhurried, 0) << "each key has waited";
}

TEST_P(OutputSleepTest, TheFirstSoundIsWholeWhereTheServerSuspendedItsSinkMeanwhile) {
    server->startSleepy();
    build(options);
    ASSERT_TRUE(awaitState(AudioOutputState::running));
    for (int pause = 0; pause < 2; ++pause) {
        SCOPED_TRACE(pause);
        recorder = server->recordSleeper();
        ASSERT_TRUE(awaitState(AudioOutputState::paused));
        ASSERT_TRUE(server->awaitSuspended());
        expectAWholeSound();
    }
    EXPECT_GT(gapless, 0);
}

TEST_P(OutputSleepTest, TheFirstSoundIsHeardWhereTheServerTakesASecondToWake) {
    server->start();
    // A server that catches up loses some of what it plays then.
    theme->set(SoundCategory::keyDown, test::constant(0.5F, 44100));
    build(options);
    ASSERT_TRUE(awaitState(AudioOutputState::running));
    ASSERT_TRUE(awaitState(AudioOutputState::paused));
    record();
    server->signal(SIGSTOP);
    const auto waking = scheduler.after(1.3, [this] { server->signal(SIGCONT); });
    press();
    EXPECT_TRUE(heard());
    EXPECT_EQ(lineCount("AudioEngine failed"), 0);
    EXPECT_EQ(lineCount("Audio configuration changed"), 0);
}

TEST_P(OutputSleepTest, TheFirstSoundIsWholeOnTheSinkThatBecameTheDefaultMeanwhile) {
    server->start();
    build(options);
    ASSERT_TRUE(awaitState(AudioOutputState::running));
    for (const char* const sink : {SoundServer::headphones, SoundServer::speaker}) {
        SCOPED_TRACE(sink);
        ASSERT_TRUE(awaitState(AudioOutputState::paused));
        server->setDefaultSink(sink);
        recorder = server->record(sink);
        expectAWholeSound();
    }
    EXPECT_GT(gapless, 0);
    EXPECT_EQ(lineCount("Audio configuration changed"), 0) << "nothing was playing";
}

TEST_P(OutputSleepTest, AServerThatNobodyLooksForAnyMoreIsFoundByTheNextSound) {
    build(options);
    ASSERT_TRUE(awaitState(AudioOutputState::lost));
    ASSERT_TRUE(awaitState(AudioOutputState::paused));
    server->start();
    record();
    wait(0.2);
    EXPECT_EQ(output->state(), AudioOutputState::paused);
    expectAWholeSound();
    EXPECT_EQ(lineCount("AudioEngine failed to start: "), 1);
    EXPECT_EQ(lineCount("Audio configuration changed"), 0);
}

INSTANTIATE_TEST_SUITE_P(Servers, OutputSleepTest,
                         testing::Values(test::pulseAudioKind, test::pipeWireKind),
                         [](const auto& server) { return std::string(server.param.name); });

} // namespace
} // namespace morvel
