#include "audio/AudioEngine.h"
#include "audio/RecordingRing.h"
#include "audio/sample/AudioFileReader.h"
#include "tests/audio/EngineFixture.h"
#include "tests/audio/Signals.h"

#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <limits>

namespace morvel {
namespace {

using AudioEngineTest = test::EngineTest;

TEST_F(AudioEngineTest, HasEightIdleVoicesAndRunsAfterConstruction) {
    build();
    EXPECT_EQ(engine->activeVoiceCount(), 0);
    EXPECT_EQ(engine->voices().size(), 8U);
    EXPECT_EQ(output.state(), AudioOutputState::running);
    EXPECT_EQ(output.starts(), 1);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(AudioEngineTest, StartingARunningEngineDoesNothing) {
    build();
    engine->start();
    engine->start();
    EXPECT_EQ(output.starts(), 1);
}

TEST_F(AudioEngineTest, AnOutageAtTheStartIsLoggedOnceAndSoundComesWithTheServer) {
    output.setAbsent(true);
    theme->set(SoundCategory::keyDown, test::constant(0.5F, 1000));
    build();
    for (int i = 0; i < 5; ++i)
        engine->play(SoundCategory::keyDown, 1, false);
    EXPECT_EQ(log.lines(), std::vector{logPrefix("AudioEngine failed to start: no server")});
    EXPECT_EQ(engine->activeVoiceCount(), 5);
    EXPECT_FALSE(engine->isRunning());
    output.comeBack();
    time.runPending();
    EXPECT_TRUE(engine->isRunning());
    EXPECT_EQ(test::peak(listen(4000)), 0) << "sounds of the outage are not played late";
    engine->play(SoundCategory::keyDown, 1, false);
    EXPECT_EQ(test::peak(listen(500)), 0.5F);
}

TEST_F(AudioEngineTest, SoundsOfAnOutageAreCountedButNeverPlayedInABurst) {
    theme->set(SoundCategory::keyDown, test::constant(0.1F, 20000));
    build();
    engine->play(SoundCategory::keyDown, 1, false);
    listen(1000);
    engine->play(SoundCategory::keyDown, 1, false); // queued, not rendered before the loss
    output.lose("server died");
    for (int i = 0; i < 300; ++i)
        engine->play(SoundCategory::keyDown, 1, false);
    EXPECT_EQ(engine->droppedSoundCount(), 0U);
    EXPECT_EQ(engine->activeVoiceCount(), 8);
    output.comeBack();
    time.runPending();
    EXPECT_EQ(test::peak(listen(4000)), 0);
    EXPECT_EQ(lineCount("failed to start"), 1U);
}

TEST_F(AudioEngineTest, ASlowStartStillPlaysAFreshSoundAndForgetsAStaleOne) {
    output.setSlow(true);
    theme->set(SoundCategory::keyDown, test::constant(0.1F, 2000));
    theme->set(SoundCategory::keyUp, test::constant(0.4F, 2000));
    build();
    engine->play(SoundCategory::keyDown, 1, false);
    time.advance(0.1);
    output.finishStarting();
    EXPECT_EQ(test::peak(listen(300)), 0.1F);

    output.pause();
    engine->play(SoundCategory::keyDown, 1, false);
    time.advance(2.1);
    engine->play(SoundCategory::keyUp, 1, false);
    output.finishStarting();
    EXPECT_EQ(test::peak(listen(4000)), 0);
}

TEST_F(AudioEngineTest, AtTheFirstStartNoSoundIsPlayedLate) {
    output.setSlow(true);
    theme->set(SoundCategory::keyDown, test::constant(0.1F, 2000));
    build();
    engine->play(SoundCategory::keyDown, 1, false);
    time.advance(0.4);
    engine->play(SoundCategory::keyDown, 1, false);
    output.finishStarting();
    EXPECT_EQ(test::peak(listen(4000)), 0);
}

TEST_F(AudioEngineTest, AServerThatHangsAndGoesOnPlaysNoBacklog) {
    theme->set(SoundCategory::keyDown, test::constant(0.1F, 300));
    build();
    engine->play(SoundCategory::keyDown, 1, false);
    listen(500);
    for (int i = 0; i < 100; ++i) { // running, but nobody renders
        engine->play(SoundCategory::keyDown, 1, false);
        time.advance(0.01);
    }
    EXPECT_EQ(engine->droppedSoundCount(), 0U);
    EXPECT_EQ(test::peak(listen(1000)), 0);
    engine->play(SoundCategory::keyDown, 1, false);
    EXPECT_EQ(test::peak(listen(500)), 0.1F);
}

TEST_F(AudioEngineTest, ALoneSoundForAHungServerIsForgottenInTime) {
    theme->set(SoundCategory::keyDown, test::constant(0.1F, 300));
    build();
    listen(500);
    engine->play(SoundCategory::keyDown, 1, false);
    time.advance(20);
    EXPECT_EQ(test::peak(listen(1000)), 0);
}

TEST_F(AudioEngineTest, ALoneSoundForAServerThatHangsForASecondIsNotPlayedLate) {
    theme->set(SoundCategory::keyDown, test::constant(0.1F, 300));
    build();
    time.advance(10);
    listen(500);
    engine->play(SoundCategory::keyDown, 1, false);
    time.advance(1);
    EXPECT_EQ(test::peak(listen(1000)), 0);
    EXPECT_EQ(engine->heldBufferCount(), 1U) << "nobody has collected it yet";
    time.advance(5);
    EXPECT_EQ(engine->heldBufferCount(), 0U);
    listen(100);
    engine->play(SoundCategory::keyDown, 1, false);
    time.advance(0.2);
    EXPECT_EQ(test::peak(listen(500)), 0.1F) << "late, but not too late";
}

TEST_F(AudioEngineTest, AConfigurationChangeIsHandledInALaterTurnAndLogged) {
    theme->set(SoundCategory::keyDown, test::constant(0.5F, 50000));
    build();
    engine->play(SoundCategory::keyDown, 1, false);
    listen(500);
    output.changeConfiguration();
    EXPECT_EQ(engine->activeVoiceCount(), 1);
    EXPECT_TRUE(log.lines().empty());
    time.runPending();
    EXPECT_EQ(engine->activeVoiceCount(), 0);
    EXPECT_EQ(log.lines(), (std::vector{logPrefix("Audio configuration changed — restarting "
                                                  "engine (running=true)"),
                                        logPrefix("Audio engine restarted (running=true)")}));
    listen(300);
    EXPECT_EQ(test::peak(listen(1000)), 0);
    EXPECT_FALSE(engine->loopCategory());
}

TEST_F(AudioEngineTest, AConfigurationChangeWhilePausedStartsTheOutput) {
    build();
    output.pause();
    output.changeConfiguration();
    time.runPending();
    EXPECT_EQ(output.state(), AudioOutputState::running);
    EXPECT_TRUE(logged("Audio configuration changed — restarting engine (running=false)"));
    EXPECT_TRUE(logged("Audio engine restarted (running=true)"));
}

TEST_F(AudioEngineTest, AConfigurationChangeResumesTheRunningLoopWithItsLastGainAndRate) {
    theme->set(SoundCategory::dialLoop, test::constant(0.8F, 1000));
    build();
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    engine->updateLoop(0.25F, 1.5F);
    listen(500);
    output.changeConfiguration();
    time.runPending();
    EXPECT_EQ(engine->loopCategory(), SoundCategory::dialLoop);
    EXPECT_EQ(engine->loopGain(), 0.25F);
    EXPECT_EQ(engine->loopRate(), 1.5F);
    listen(300);
    EXPECT_NEAR(test::peak(listen(500)), 0.2F, 1e-3F);
}

TEST_F(AudioEngineTest, AConfigurationChangeDoesNotResumeAFadingLoop) {
    theme->set(SoundCategory::dialLoop, test::constant(0.8F, 1000));
    build();
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    listen(500);
    engine->stopLoop(5);
    output.changeConfiguration();
    time.runPending();
    listen(300);
    EXPECT_EQ(test::peak(listen(500)), 0);
}

TEST_F(AudioEngineTest, RunsWhileItsOutputDoes) {
    build();
    EXPECT_TRUE(engine->isRunning());
    output.pause();
    EXPECT_FALSE(engine->isRunning());
    output.setSlow(true);
    engine->start();
    EXPECT_FALSE(engine->isRunning()) << "not before it has come up";
    output.finishStarting();
    EXPECT_TRUE(engine->isRunning());
    output.lose("server died");
    EXPECT_FALSE(engine->isRunning());
}

TEST_F(AudioEngineTest, ASimulatedConfigurationChangeStopsOutputAndIsHandledAsARealOne) {
    theme->set(SoundCategory::keyDown, test::constant(0.5F, 50000));
    theme->set(SoundCategory::dialLoop, test::constant(0.2F, 1000));
    build();
    engine->startLoop(SoundCategory::dialLoop, 1, 1.5F);
    engine->play(SoundCategory::keyDown, 1, false);
    listen(500);
    engine->simulateConfigurationChange();
    EXPECT_EQ(output.pauses(), 1);
    EXPECT_EQ(output.state(), AudioOutputState::paused);
    time.advance(0.09);
    EXPECT_EQ(output.state(), AudioOutputState::paused) << "long enough to have stopped";
    EXPECT_EQ(engine->activeVoiceCount(), 1);
    time.advance(0.02);
    EXPECT_EQ(
        log.lines(),
        (std::vector{logPrefix("Simulating configuration change (stopping engine)"),
                     logPrefix("Audio configuration changed — restarting engine (running=false)"),
                     logPrefix("Audio engine restarted (running=true)")}));
    EXPECT_EQ(engine->activeVoiceCount(), 0);
    EXPECT_EQ(engine->loopCategory(), SoundCategory::dialLoop);
    EXPECT_EQ(engine->loopRate(), 1.5F);
    listen(300);
    EXPECT_NEAR(test::peak(listen(500)), 0.2F, 1e-3F) << "only the loop";
}

TEST_F(AudioEngineTest, ARestartThatTakesItsTimeIsReportedOnceItsOutcomeIsKnown) {
    build();
    for (const bool comesUp : {true, false}) {
        log.clear();
        output.setSlow(true);
        output.pause();
        output.changeConfiguration();
        time.runPending();
        EXPECT_EQ(log.lines(), std::vector{logPrefix("Audio configuration changed — restarting "
                                                     "engine (running=false)")});
        time.advance(0.1);
        if (comesUp)
            output.finishStarting();
        time.advance(0.5);
        EXPECT_EQ(lineCount("Audio engine restarted"), 1U);
        EXPECT_EQ(logged("Audio engine restarted (running=true)"), comesUp);
    }
}

TEST_F(AudioEngineTest, QuiescingSilencesAndForgetsWarningsAndTheLoop) {
    theme->set(SoundCategory::keyDown, test::constant(0.1F, 50000));
    theme->set(SoundCategory::dialLoop, test::constant(0.2F, 1000));
    build();
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    for (int i = 0; i < 9; ++i)
        engine->play(SoundCategory::keyDown, 1, false);
    engine->play(SoundCategory::pop, 1, false);
    listen(500);
    engine->quiesceForThemeSwap();
    EXPECT_EQ(engine->activeVoiceCount(), 0);
    EXPECT_FALSE(engine->loopCategory());
    listen(300);
    EXPECT_EQ(test::peak(listen(500)), 0);
    engine->play(SoundCategory::pop, 1, false);
    EXPECT_EQ(lineCount("No sample for category 'fidget.pop' in the current theme"), 2U);
}

TEST_F(AudioEngineTest, QuiescingEndsAFade) {
    theme->set(SoundCategory::dialLoop, test::constant(0.2F, 1000));
    build();
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    listen(500);
    engine->stopLoop(10);
    engine->quiesceForThemeSwap();
    listen(300);
    EXPECT_EQ(test::peak(listen(500)), 0);
}

TEST_F(AudioEngineTest, TheOldThemesBuffersAreFreedSoonAfterASwap) {
    auto buffer = std::make_shared<PcmBuffer>(*test::constant(0.1F, 50000));
    const std::weak_ptr<PcmBuffer> watch = buffer;
    theme->set(SoundCategory::keyDown, std::move(buffer));
    build();
    engine->play(SoundCategory::keyDown, 1, false);
    listen(500);
    engine->quiesceForThemeSwap();
    theme.reset();
    engine->setResolver(nullptr);
    listen(500);
    time.advance(10);
    EXPECT_TRUE(watch.expired());
}

TEST_F(AudioEngineTest, MutedTheSubmixIsSilentWhateverTheMasterVolume) {
    build();
    EXPECT_EQ(engine->submixOutputVolume(), 1);
    engine->setMuted(true);
    EXPECT_EQ(engine->submixOutputVolume(), 0);
    engine->setMasterVolume(0.7F);
    EXPECT_EQ(engine->submixOutputVolume(), 0);
    engine->setMuted(false);
    EXPECT_EQ(engine->submixOutputVolume(), 0.7F);
}

TEST_F(AudioEngineTest, TheMasterVolumeIsAppliedWithinItsLimits) {
    build();
    engine->setMasterVolume(1.5F);
    EXPECT_EQ(engine->masterVolume(), 1.5F);
    EXPECT_EQ(engine->submixOutputVolume(), 1);
    engine->setMasterVolume(-0.1F);
    EXPECT_EQ(engine->submixOutputVolume(), 0);
    engine->setMasterVolume(0.3F);
    engine->setMasterVolume(std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(engine->submixOutputVolume(), 0);
    engine->setSubmixOutputVolume(0.25F);
    EXPECT_EQ(engine->submixOutputVolume(), 0.25F);
    engine->setSubmixOutputVolume(std::numeric_limits<float>::infinity());
    EXPECT_EQ(engine->submixOutputVolume(), 1);
    engine->setMuted(false);
    EXPECT_EQ(engine->submixOutputVolume(), 0) << "every assignment applies the volume anew";
}

TEST_F(AudioEngineTest, MasterVolumeAndMuteActOnWhatSoundsAlready) {
    theme->set(SoundCategory::keyDown, test::constant(0.8F, 50000));
    build();
    engine->play(SoundCategory::keyDown, 1, false);
    listen(500);
    engine->setMasterVolume(0.5F);
    listen(300);
    EXPECT_EQ(test::peak(listen(500)), 0.4F);
    engine->setMuted(true);
    listen(300);
    EXPECT_EQ(test::peak(listen(500)), 0);
}

TEST_F(AudioEngineTest, AFailingLimiterParameterIsLoggedAndTheOthersAreStillSet) {
    AudioEngine::Options options;
    options.limiter = {{Limiter::preGain, 0.0F}, {7, 1.0F}, {Limiter::attackTime, 0.01F}};
    build(false, options);
    EXPECT_EQ(log.lines(), std::vector{logPrefix("Limiter parameter 7 failed: 1")});
    EXPECT_EQ(engine->limiterDelayFrames(), 441U);
}

class RecordingTest : public test::EngineTest {
protected:
    std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("morvel-recording-" + std::to_string(getpid()));
    void SetUp() override { std::filesystem::create_directories(folder); }
    void TearDown() override { std::filesystem::remove_all(folder); }
};

TEST_F(RecordingTest, HoldsExactlyTheOutputOnceTheEngineHasGone) {
    theme->set(SoundCategory::keyDown, test::noise(3000, 0.5F));
    build();
    const auto file = folder / "take.wav";
    EXPECT_EQ(engine->startRecording(file), std::nullopt);
    engine->play(SoundCategory::keyDown, 1, false);
    const auto out = listen(5000);
    EXPECT_EQ(engine->recordingOverflowFrames(), 0U);
    engine.reset();
    auto reader = AudioFileReader::open(file);
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->processingFormat(), canonicalFormat);
    const auto read = reader->readAll({});
    ASSERT_TRUE(read);
    EXPECT_EQ(read->channels[0], test::channel(out, 0));
    EXPECT_EQ(read->channels[1], test::channel(out, 1));
}

TEST_F(RecordingTest, IsCompleteOnceItIsStoppedAndAnotherMayFollow) {
    build();
    const auto frames = [](const std::filesystem::path& file) {
        const auto reader = AudioFileReader::open(file);
        return reader ? reader->length() : 0;
    };
    engine->stopRecording(); // of none
    ASSERT_FALSE(engine->startRecording(folder / "first.wav"));
    listen(1000);
    engine->stopRecording();
    EXPECT_EQ(frames(folder / "first.wav"), 1000U);
    listen(500);
    ASSERT_FALSE(engine->startRecording(folder / "second.wav"));
    listen(300);
    ASSERT_FALSE(engine->startRecording(folder / "third.wav"));
    listen(200);
    engine->stopRecording();
    EXPECT_EQ(frames(folder / "first.wav"), 1000U);
    EXPECT_EQ(frames(folder / "second.wav"), 300U);
    EXPECT_EQ(frames(folder / "third.wav"), 200U);
}

TEST_F(RecordingTest, AFileThatCannotBeCreatedIsAnErrorAndDisturbsNothing) {
    theme->set(SoundCategory::keyDown, test::constant(0.5F, 1000));
    build();
    const auto error = engine->startRecording(folder / "missing" / "take.wav");
    ASSERT_TRUE(error);
    EXPECT_FALSE(error->empty());
    engine->play(SoundCategory::keyDown, 1, false);
    EXPECT_EQ(test::peak(listen(500)), 0.5F);
}

TEST_F(RecordingTest, CountsWhatAStalledDiskMakesItLeaveOut) {
    RecordingRing ring(100);
    const std::vector<float> block(128, 0.5F);
    ring.write(block.data(), 64);
    ring.write(block.data(), 64);
    EXPECT_EQ(ring.overflowFrames(), 28U);
    std::vector<float> read(400);
    EXPECT_EQ(ring.read(read.data(), 200), 100U);
}

TEST_F(AudioEngineTest, RenderingAfterTheEngineHasGoneIsSilence) {
    theme->set(SoundCategory::keyDown, test::constant(0.5F, 100000));
    build();
    engine->play(SoundCategory::keyDown, 1, false);
    listen(500);
    engine.reset();
    output.changeConfiguration();
    time.advance(1);
    EXPECT_EQ(test::peak(output.render(1000)), 0);
}

} // namespace
} // namespace morvel
