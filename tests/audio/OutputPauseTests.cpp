// When the engine lets its output sleep, and what becomes of the sounds that wake it.
#include "tests/audio/EngineFixture.h"
#include "tests/audio/Signals.h"

#include <functional>
#include <memory>
#include <utility>

namespace morvel {
namespace {

using OutputPause = test::EngineTest;

TEST_F(OutputPause, PausesTheOutputFiveMinutesAfterTheLastSoundAndTheNextOneResumesIt) {
    theme->set(SoundCategory::keyDown, test::constant(0.5F, 1000));
    build();
    time.advance(100);
    engine->play(SoundCategory::keyDown, 1, false);
    time.advance(290);
    EXPECT_EQ(output.state(), AudioOutputState::running);
    time.advance(16);
    EXPECT_EQ(output.state(), AudioOutputState::paused);
    EXPECT_EQ(time.activeTimerCount(), 0U) << "an idle engine wakes nobody up";
    engine->play(SoundCategory::keyDown, 1, false);
    EXPECT_EQ(output.state(), AudioOutputState::running);
    EXPECT_EQ(test::peak(listen(500)), 0.5F);
    time.advance(320);
    EXPECT_EQ(output.pauses(), 2);
}

TEST_F(OutputPause, ARunningLoopKeepsTheOutputAwake) {
    theme->set(SoundCategory::dialLoop, test::constant(0.2F, 1000));
    build();
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    time.advance(1000);
    EXPECT_EQ(output.state(), AudioOutputState::running);
    engine->stopLoop(0);
    time.advance(320);
    EXPECT_EQ(output.state(), AudioOutputState::paused);
}

TEST_F(OutputPause, ADeviceThatTakesItsTimeToWakePlaysTheFirstSoundAfterAPause) {
    theme->set(SoundCategory::keyDown, test::constant(0.5F, 1000));
    build();
    time.advance(310);
    ASSERT_EQ(output.state(), AudioOutputState::paused);
    output.setSlow(true);
    engine->play(SoundCategory::keyDown, 1, false);
    time.advance(1.8);
    output.finishStarting();
    EXPECT_EQ(test::peak(listen(500)), 0.5F);
}

TEST_F(OutputPause, AnOutputThatASoundWaitsForIsNotSentToSleepAgain) {
    theme->set(SoundCategory::keyDown, test::constant(0.5F, 1000));
    AudioEngine::Options options;
    options.keepWarmSeconds = 0.4;
    build(false, options);
    time.advance(1);
    ASSERT_EQ(output.state(), AudioOutputState::paused);
    output.setSlow(true);
    engine->play(SoundCategory::keyDown, 1, false);
    time.advance(1.8);
    EXPECT_EQ(output.state(), AudioOutputState::starting);
    output.finishStarting();
    EXPECT_EQ(test::peak(listen(500)), 0.5F);
}

TEST_F(OutputPause, OfTheSoundsBeforeADeviceWakesTheNewestAreHeard) {
    theme->set(SoundCategory::keyDown, test::constant(0.1F, 100000));
    theme->set(SoundCategory::keyUp, test::constant(0.3F, 100000));
    build();
    for (const bool asksLate : {false, true}) {
        output.setSlow(!asksLate); // starting, or running but nobody renders
        output.pause();
        for (int i = 0; i < 3; ++i) {
            engine->play(SoundCategory::keyDown, 1, false);
            time.advance(0.35);
        }
        engine->play(SoundCategory::keyUp, 1, false);
        time.advance(0.1);
        engine->play(SoundCategory::keyDown, 1, false);
        output.finishStarting();
        EXPECT_NEAR(test::peak(listen(500)), 0.4F, 1e-6F) << "late to ask: " << asksLate;
        engine->quiesceForThemeSwap();
        listen(500);
    }
}

TEST_F(OutputPause, ADeviceThatIsAwakeAndHangsPlaysNoBacklogSoonAfterAPauseEither) {
    theme->set(SoundCategory::keyDown, test::constant(0.1F, 300));
    build();
    output.pause();
    engine->play(SoundCategory::keyDown, 1, false);
    time.advance(2.1);
    engine->play(SoundCategory::keyDown, 1, false);
    EXPECT_EQ(test::peak(listen(1000)), 0);
}

TEST_F(OutputPause, ALoneSoundForADeviceThatIsAwakeAndHangsIsForgottenInTimeToo) {
    theme->set(SoundCategory::keyDown, test::constant(0.1F, 300));
    build();
    listen(500);
    output.pause();
    engine->play(SoundCategory::keyDown, 1, false);
    time.advance(2.1);
    EXPECT_EQ(test::peak(listen(1000)), 0);
}

TEST_F(OutputPause, AnOutageThatNobodyNoticesIsLeftAloneAfterFiveMinutes) {
    theme->set(SoundCategory::keyDown, test::constant(0.5F, 1000));
    output.setAbsent(true);
    build();
    time.advance(290);
    EXPECT_EQ(output.state(), AudioOutputState::lost);
    time.advance(20);
    EXPECT_EQ(output.state(), AudioOutputState::paused);
    EXPECT_EQ(time.activeTimerCount(), 0U);
    engine->play(SoundCategory::keyDown, 1, false);
    EXPECT_EQ(output.state(), AudioOutputState::lost) << "asked anew";
    EXPECT_EQ(lineCount("failed to start"), 2U);
    time.advance(310);
    output.setAbsent(false);
    engine->play(SoundCategory::keyDown, 1, false);
    EXPECT_EQ(output.state(), AudioOutputState::running);
    EXPECT_EQ(test::peak(listen(500)), 0.5F);
    EXPECT_EQ(lineCount("Audio configuration changed"), 0U);
}

TEST_F(OutputPause, AnOutputThatDoesNotComeUpIsLeftAloneAfterFiveMinutes) {
    output.setSlow(true);
    build();
    time.advance(310);
    EXPECT_EQ(output.state(), AudioOutputState::paused);
    EXPECT_EQ(time.activeTimerCount(), 0U);
}

// An output, and a source of chance, that something comes in between.
class InterruptedOutput : public OfflineAudioOutput {
public:
    void pause() override {
        if (const auto between = std::exchange(beforePause, {}))
            between();
        OfflineAudioOutput::pause();
    }
    std::function<void()> beforePause;
};
class InterruptedRandom : public RandomSource {
public:
    std::uint32_t uniform(std::uint32_t) override {
        between();
        return 0;
    }
    std::function<void()> between;
};

// As from the key tap's thread: it sees the output run, then the output is paused, then its sound
// is queued.
TEST_F(OutputPause, ASoundThatIsAskedForWhileOutputFallsAsleepIsHeard) {
    theme->set(SoundCategory::keyDown, test::constant(0.5F, 1000), 1, 100);
    InterruptedOutput sleepy;
    InterruptedRandom pausing;
    engine = std::make_unique<AudioEngine>(AudioEngine::Services{sleepy, time, time, pausing, log},
                                           false);
    engine->setResolver(theme);
    pausing.between = [&] {
        ASSERT_EQ(sleepy.state(), AudioOutputState::running);
        sleepy.OfflineAudioOutput::pause();
    };
    sleepy.beforePause = [&] { engine->play(SoundCategory::keyDown, 1, true); };
    sleepy.setSlow(true);
    sleepy.finishStarting();
    time.advance(300);
    EXPECT_EQ(sleepy.state(), AudioOutputState::starting);
    time.advance(1);
    sleepy.finishStarting();
    EXPECT_GT(test::peak(sleepy.render(500)), 0.4F);
    engine.reset();
}

} // namespace
} // namespace morvel
