#include "audio/AudioEngine.h"
#include "tests/audio/EngineFixture.h"
#include "tests/audio/Signals.h"

#include <limits>

namespace morvel {
namespace {

class LoopPlayback : public test::EngineTest {
protected:
    void SetUp() override {
        theme->set(SoundCategory::dialLoop, test::constant(0.5F, 1000));
        theme->set(SoundCategory::pop, test::constant(0.125F, 700));
        build();
    }
    // The level once everything on its way has settled.
    float level() {
        listen(1500);
        return test::peak(listen(200));
    }
};

TEST_F(LoopPlayback, RepeatsUntilItIsStopped) {
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    EXPECT_EQ(engine->loopCategory(), SoundCategory::dialLoop);
    listen(44100);
    EXPECT_EQ(level(), 0.5F);
    engine->stopLoop(0);
    EXPECT_FALSE(engine->loopCategory());
    EXPECT_EQ(level(), 0);
}

TEST_F(LoopPlayback, StartingTheSameCategoryAgainOnlyChangesVolumeAndRate) {
    std::vector<float> ramp(2000);
    for (std::size_t i = 0; i < ramp.size(); ++i)
        ramp[i] = static_cast<float>(i) / 4000;
    theme->set(SoundCategory::dialLoop, test::bufferOf(ramp, ramp));
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    listen(1000);
    engine->startLoop(SoundCategory::dialLoop, 0.5F, 1);
    EXPECT_EQ(engine->loopGain(), 0.5F);
    const auto left = test::channel(listen(300), 0);
    EXPECT_NEAR(left[200], 0.5F * ramp[1000 + 200 - 44], 1e-6F) << "the sound goes on";
}

TEST_F(LoopPlayback, AnotherCategoryReplacesTheLoopAtOnce) {
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    listen(500);
    engine->startLoop(SoundCategory::pop, 1, 1);
    EXPECT_EQ(engine->loopCategory(), SoundCategory::pop);
    EXPECT_EQ(level(), 0.125F);
}

TEST_F(LoopPlayback, ACallerThatStopsOnlyItsOwnLoopLeavesAnotherRunning) {
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    const auto stopMine = [this](SoundCategory mine) {
        if (engine->loopCategory() == mine)
            engine->stopLoop(0);
    };
    stopMine(SoundCategory::pop);
    EXPECT_EQ(level(), 0.5F);
    stopMine(SoundCategory::dialLoop);
    EXPECT_EQ(level(), 0);
}

TEST_F(LoopPlayback, FadesInAStraightLineAndThenStops) {
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    listen(500);
    engine->stopLoop(0.1);
    EXPECT_FALSE(engine->loopCategory());
    EXPECT_EQ(engine->loopVolume(), 1.0F);
    for (int tick = 1; tick <= 5; ++tick) {
        time.advance(1.0 / 60 + 1e-9);
        EXPECT_NEAR(engine->loopVolume(), 1 - static_cast<float>(tick) / 6, 1e-4F);
        EXPECT_GT(test::peak(output.render(735)), 0);
    }
    time.advance(0.04);
    EXPECT_EQ(engine->loopVolume(), 0);
    output.render(100);
    EXPECT_EQ(test::peak(output.render(500)), 0);
    EXPECT_EQ(engine->heldBufferCount(), 1U) << "the voice has let go; nothing is collected yet";
}

TEST_F(LoopPlayback, StoppingWithNoLoopRunningLetsAFadeGoOn) {
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    listen(500);
    engine->stopLoop(1);
    time.advance(0.5);
    engine->stopLoop(0);
    EXPECT_GT(level(), 0);
    time.advance(0.3);
    EXPECT_NEAR(engine->loopVolume(), 0.17F, 0.03F);
    time.advance(1);
    EXPECT_EQ(level(), 0);
}

TEST_F(LoopPlayback, UpdatingDuringAFadeDoesNothing) {
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    listen(500);
    engine->stopLoop(1);
    time.advance(0.5);
    engine->updateLoop(1, 2);
    EXPECT_EQ(engine->loopRate(), 1.0F);
    EXPECT_NEAR(engine->loopVolume(), 0.5F, 0.03F);
    time.advance(1);
    EXPECT_EQ(level(), 0);
}

TEST_F(LoopPlayback, StartingDuringAFadeCancelsItAndStartsAnew) {
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    listen(500);
    engine->stopLoop(0.2);
    time.advance(0.1);
    engine->startLoop(SoundCategory::dialLoop, 0.8F, 1);
    time.advance(1);
    EXPECT_FLOAT_EQ(level(), 0.4F);
}

TEST_F(LoopPlayback, LimitsRateAndVolume) {
    theme->set(SoundCategory::dialLoop, test::sine(1000, 44100, 0.5F), 3);
    engine->startLoop(SoundCategory::dialLoop, 1, 5);
    EXPECT_EQ(engine->loopVolume(), 1.0F);
    EXPECT_EQ(engine->loopRate(), 5.0F) << "as asked for";
    listen(1000);
    EXPECT_NEAR(test::fitSine(test::channel(listen(4410), 0), 2000).amplitude, 0.5, 0.01);
    engine->updateLoop(-1, 1);
    EXPECT_EQ(engine->loopVolume(), 0.0F);
    engine->updateLoop(std::numeric_limits<float>::quiet_NaN(), 1);
    EXPECT_EQ(engine->loopVolume(), 0.0F);
    engine->updateLoop(0.2F, 0.1F);
    EXPECT_FLOAT_EQ(engine->loopVolume(), 0.6F);
    listen(1000);
    EXPECT_NEAR(test::fitSine(test::channel(listen(4410), 0), 500).amplitude, 0.3, 0.01);
}

TEST_F(LoopPlayback, MutedItDoesNotStartButUpdatesAndStops) {
    engine->setMuted(true);
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    EXPECT_FALSE(engine->loopCategory());
    engine->setMuted(false);
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    engine->setMuted(true);
    engine->updateLoop(0.5F, 1);
    EXPECT_EQ(engine->loopVolume(), 0.5F);
    engine->startLoop(SoundCategory::dialLoop, 0.25F, 1);
    EXPECT_EQ(engine->loopVolume(), 0.5F);
    engine->stopLoop(0);
    EXPECT_FALSE(engine->loopCategory());
}

TEST_F(LoopPlayback, AMissingSampleIsReportedAndTheRunningLoopGoesOn) {
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    engine->startLoop(SoundCategory::popReset, 1, 1);
    EXPECT_TRUE(logged("No sample for category 'fidget.popReset' in the current theme"));
    EXPECT_EQ(engine->loopCategory(), SoundCategory::dialLoop);
    EXPECT_EQ(level(), 0.5F);
}

TEST_F(LoopPlayback, UpdatingUsesFullSampleGainWhenTheThemeHasLostTheCategory) {
    theme->set(SoundCategory::dialLoop, test::constant(0.5F, 1000), 0.5F);
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    EXPECT_EQ(engine->loopVolume(), 0.5F);
    engine->setResolver(nullptr);
    engine->updateLoop(0.75F, 1);
    EXPECT_EQ(engine->loopVolume(), 0.75F);
}

TEST_F(LoopPlayback, UpdatingWithNoLoopRunningDoesNothing) {
    engine->updateLoop(0.75F, 1.5F);
    EXPECT_EQ(engine->loopGain(), 0.0F);
    EXPECT_EQ(engine->loopRate(), 1.0F);
}

class LoopOnALateOutput : public LoopPlayback {
protected:
    // An engine whose output has been asked for and does not run yet.
    void SetUp() override {
        output.setSlow(true);
        LoopPlayback::SetUp();
    }
};

TEST_F(LoopOnALateOutput, SoundsOnceTheOutputRuns) {
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    time.advance(0.1);
    output.finishStarting();
    EXPECT_EQ(level(), 0.5F);
}

TEST_F(LoopOnALateOutput, SoundsHoweverLongTheOutputTakesWithTheGainAndRateOfThen) {
    theme->set(SoundCategory::dialLoop, test::sine(1000, 44100, 0.5F));
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    time.advance(5);
    engine->updateLoop(0.5F, 1.5F);
    time.advance(5);
    output.finishStarting();
    EXPECT_NEAR(test::fitSine(test::channel(listen(4410), 0), 1500).amplitude, 0.25, 0.005);
    EXPECT_EQ(engine->loopCategory(), SoundCategory::dialLoop);
}

TEST_F(LoopOnALateOutput, SoundsWhenItWasStartedLongAfterTheOutputWasAskedFor) {
    time.advance(5);
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    time.advance(1);
    output.finishStarting();
    EXPECT_EQ(level(), 0.5F);
}

TEST_F(LoopOnALateOutput, StaysSilentWhenItWasStoppedMeanwhile) {
    for (const double fadeOut : {0.0, 0.1}) {
        engine->startLoop(SoundCategory::dialLoop, 1, 1);
        time.advance(1);
        engine->stopLoop(fadeOut);
        time.advance(1);
    }
    output.finishStarting();
    EXPECT_EQ(level(), 0);
    time.advance(10);
    EXPECT_EQ(engine->heldBufferCount(), 0U);
}

TEST_F(LoopOnALateOutput, OnlyTheNewestOfManyIsHeardAndNoneIsDropped) {
    for (int i = 0; i < 1000; ++i) {
        engine->startLoop(SoundCategory::dialLoop, 1, 1);
        engine->startLoop(SoundCategory::pop, 1, 1);
        time.advance(0.01);
    }
    EXPECT_EQ(engine->droppedSoundCount(), 0U);
    output.finishStarting();
    EXPECT_EQ(level(), 0.125F);
}

TEST_F(LoopOnALateOutput, AThemeSwapEndsItForGood) {
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    engine->quiesceForThemeSwap();
    EXPECT_EQ(engine->heldBufferCount(), 0U) << "the old theme's sound is let go of at once";
    output.finishStarting();
    EXPECT_EQ(level(), 0);
}

TEST_F(LoopPlayback, SoundsOnceASleepingOutputThatWakesUpSlowlyRuns) {
    output.setSlow(true);
    output.pause();
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    time.advance(2);
    output.finishStarting();
    EXPECT_EQ(level(), 0.5F);
}

TEST_F(LoopPlayback, StartedWhileTheServerHangsItSoundsOnceTheServerGoesOn) {
    listen(1000);
    engine->play(SoundCategory::pop, 1, false); // running, but from now on nobody renders
    time.advance(1);
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    time.advance(12);
    engine->updateLoop(0.5F, 1);
    EXPECT_EQ(level(), 0.25F);
}

TEST_F(LoopPlayback, GoesOnAfterTheServerHungWhileItRan) {
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    listen(500);
    time.advance(12);
    EXPECT_EQ(level(), 0.5F);
}

TEST_F(LoopPlayback, StartedDuringAnOutageItSoundsOnceTheServerIsBack) {
    output.lose("server died");
    engine->startLoop(SoundCategory::dialLoop, 0.5F, 1);
    EXPECT_EQ(engine->loopCategory(), SoundCategory::dialLoop);
    time.advance(2);
    output.comeBack();
    time.runPending();
    EXPECT_EQ(level(), 0.25F);
}

TEST_F(LoopPlayback, StopsAloneAndLeavesSoundsThatPlayOnceAlone) {
    theme->set(SoundCategory::keyDown, test::constant(0.25F, 44100));
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    engine->play(SoundCategory::keyDown, 1, false);
    EXPECT_EQ(level(), 0.75F);
    engine->stopLoop(0);
    EXPECT_EQ(level(), 0.25F);
}

} // namespace
} // namespace morvel
