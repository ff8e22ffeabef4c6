#include "audio/AudioEngine.h"
#include "platform/SystemRandom.h"
#include "tests/audio/EngineFixture.h"
#include "tests/audio/Signals.h"

#include <fmt/format.h>

#include <cmath>
#include <functional>
#include <limits>

namespace morvel {
namespace {

using OneShotPlayback = test::EngineTest;

constexpr auto key = SoundCategory::keyDown;

TEST_F(OneShotPlayback, MutedItNeitherSoundsNorAsksNorWarnsNorTraces) {
    theme->set(key, test::constant(0.5F, 1000));
    build(true);
    engine->setMuted(true);
    engine->play(key, 1, true);
    engine->play(SoundCategory::pop, 1, true);
    EXPECT_EQ(theme->asked, 0);
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(engine->activeVoiceCount(), 0);
    EXPECT_EQ(test::peak(listen(1000)), 0);
}

TEST_F(OneShotPlayback, AKeyAtRateOneAndFullVolumeEqualsItsSampleButForTheLimitersDelay) {
    const auto sample = test::noise(4000, 1);
    theme->set(key, sample);
    build();
    engine->play(key, 1, false);
    const auto out = listen(5000);
    const std::size_t delay = engine->limiterDelayFrames();
    EXPECT_EQ(delay, 44U);
    for (std::size_t i = 0; i < 4000; ++i) {
        ASSERT_EQ(out[2 * (i + delay)], sample->channels[0][i]);
        ASSERT_EQ(out[2 * (i + delay) + 1], sample->channels[1][i]);
    }
}

TEST_F(OneShotPlayback, TheNinthOfNineLongSoundsStealsVoiceZero) {
    theme->set(key, test::sine(200, 100000, 0.1F));
    build();
    for (std::size_t i = 0; i < 8; ++i) {
        engine->play(key, 1, false);
        const auto voices = engine->voices();
        EXPECT_NEAR(voices[i].freeAt, time.now() + 100000 / 44100.0, 1e-9);
        EXPECT_FALSE(voices[i].interrupted);
        EXPECT_EQ(engine->cursor(), (i + 1) % 8);
        listen(441);
    }
    engine->play(key, 1, false);
    const auto voices = engine->voices();
    EXPECT_TRUE(voices[0].interrupted);
    EXPECT_NEAR(voices[0].freeAt, time.now() + 100000 / 44100.0, 1e-9);
    EXPECT_FALSE(voices[1].interrupted);
    EXPECT_EQ(engine->activeVoiceCount(), 8);
}

TEST_F(OneShotPlayback, AFreeVoiceIsTakenFromTheLowestNumberWhateverTheCursorSays) {
    theme->set(key, test::constant(0.01F, 44100));
    theme->set(SoundCategory::keyUp, test::constant(0.01F, 4410));
    build();
    engine->play(key, 1, false);                  // voice 0, long
    engine->play(SoundCategory::keyUp, 1, false); // voice 1, short
    engine->play(key, 1, false);                  // voice 2, long
    EXPECT_EQ(engine->cursor(), 3U);
    listen(8820);
    engine->play(key, 1, false);
    EXPECT_EQ(engine->cursor(), 2U);
    EXPECT_NEAR(engine->voices()[1].freeAt, time.now() + 1, 1e-9);
    EXPECT_EQ(engine->voices()[3].freeAt, 0);
}

TEST_F(OneShotPlayback, OfSeveralVoicesThatEndTogetherTheFirstIsStolen) {
    theme->set(key, test::constant(0.01F, 44100));
    build();
    for (int i = 0; i < 9; ++i)
        engine->play(key, 1, false);
    EXPECT_TRUE(engine->voices()[0].interrupted);
    EXPECT_EQ(engine->cursor(), 1U);
    time.advance(0.001);
    engine->play(key, 1, false);
    EXPECT_EQ(engine->cursor(), 1U) << "voice 0 again: it still ends with the others";
    engine->play(key, 1, false);
    EXPECT_TRUE(engine->voices()[1].interrupted);
}

TEST_F(OneShotPlayback, AVoiceIsFreeAtTheInstantItsSoundEnds) {
    build();
    EXPECT_EQ(engine->acquireVoice(0.5).voice, 0U);
    time.advance(0.5);
    EXPECT_EQ(engine->activeVoiceCount(), 0);
    const auto next = engine->acquireVoice(0.5);
    EXPECT_EQ(next.voice, 0U);
    EXPECT_FALSE(next.stolen);
    EXPECT_EQ(next.freeAt, time.now() + 0.5);
}

TEST_F(OneShotPlayback, JitterOfNothingIsExactlyOne) {
    SystemRandom system;
    EXPECT_EQ(AudioEngine::jitterRate(0, system), 1.0F);
    EXPECT_EQ(AudioEngine::jitterRate(-50, system), 1.0F);
    EXPECT_EQ(AudioEngine::jitterRate(std::numeric_limits<float>::quiet_NaN(), system), 1.0F);
}

TEST_F(OneShotPlayback, JitterIsUniformOverTheWholeSpreadAndLimited) {
    constexpr std::uint32_t steps = 1U << 24;
    ScriptedRandom draws({0, steps / 2, steps, steps / 4});
    EXPECT_FLOAT_EQ(AudioEngine::jitterRate(100, draws), std::exp2(-100 / 1200.0F));
    EXPECT_EQ(AudioEngine::jitterRate(100, draws), 1.0F);
    EXPECT_FLOAT_EQ(AudioEngine::jitterRate(100, draws), std::exp2(100 / 1200.0F));
    EXPECT_FLOAT_EQ(AudioEngine::jitterRate(100, draws), std::exp2(-50 / 1200.0F));
    ScriptedRandom extremes({0, steps});
    EXPECT_EQ(AudioEngine::jitterRate(1200, extremes), 0.5F);
    EXPECT_EQ(AudioEngine::jitterRate(1200, extremes), 2.0F);
    EXPECT_EQ(AudioEngine::jitterRate(2400, extremes), 0.5F);
    EXPECT_EQ(AudioEngine::jitterRate(2400, extremes), 2.0F);
    SystemRandom system;
    for (int i = 0; i < 10000; ++i) {
        const float rate = AudioEngine::jitterRate(2400, system);
        ASSERT_GE(rate, 0.5F);
        ASSERT_LE(rate, 2.0F);
    }
}

TEST_F(OneShotPlayback, JitterIsUsedOnlyWhenAskedFor) {
    theme->set(key, test::constant(0.1F, 44100), 1, 1200);
    build();
    engine->play(key, 1, false);
    engine->play(key, 1, true); // the scripted draw is 0: the lowest rate
    const auto voices = engine->voices();
    EXPECT_EQ(voices[0].rate, 1.0F);
    EXPECT_EQ(voices[1].rate, 0.5F);
    EXPECT_NEAR(voices[1].freeAt - time.now(), 2.0, 1e-9);
}

TEST_F(OneShotPlayback, AnAskedForSpreadOfNothingPlaysAtRateOne) {
    theme->set(key, test::constant(0.1F, 44100), 1, 0);
    build();
    engine->play(key, 1, true);
    EXPECT_EQ(engine->voices()[0].rate, 1.0F);
}

// Rates reach the arithmetic only within 0.5 to 2, so the limit on the divisor shows as the longest
// expectation there can be: twice the sample.
TEST_F(OneShotPlayback, TheExpectedDurationStaysFiniteForTheLowestRate) {
    theme->set(key, test::constant(0.1F, 44100), 1, std::numeric_limits<float>::infinity());
    build();
    engine->play(key, 1, true);
    const double expected = engine->voices()[0].freeAt - time.now();
    EXPECT_TRUE(std::isfinite(expected));
    EXPECT_LE(expected, 100.0);
}

TEST_F(OneShotPlayback, VolumeTimesGainIsLimitedToZeroToOne) {
    theme->set(key, test::constant(0.5F, 1000), 1.5F);
    build();
    engine->play(key, 1, false);
    engine->play(key, -1, false);
    engine->play(key, 0.5F, false);
    engine->play(key, std::numeric_limits<float>::quiet_NaN(), false);
    const auto voices = engine->voices();
    EXPECT_EQ(voices[0].volume, 1.0F);
    EXPECT_EQ(voices[1].volume, 0.0F);
    EXPECT_EQ(voices[2].volume, 0.75F);
    EXPECT_EQ(voices[3].volume, 0.0F);
}

TEST_F(OneShotPlayback, AMissingSampleIsReportedOnceAndNoVoiceIsTaken) {
    build(true);
    for (int i = 0; i < 3; ++i)
        engine->play(SoundCategory::enterDown, 1, true);
    EXPECT_EQ(log.lines(),
              std::vector{
                  logPrefix("No sample for category 'keyboard.enter.down' in the current theme")});
    EXPECT_EQ(engine->activeVoiceCount(), 0);
    engine->quiesceForThemeSwap();
    engine->play(SoundCategory::enterDown, 1, true);
    EXPECT_EQ(log.lines().size(), 2U);
}

TEST_F(OneShotPlayback, WithoutAThemeEveryCategoryIsMissing) {
    build();
    engine->setResolver(nullptr);
    engine->play(key, 1, false);
    EXPECT_TRUE(logged("No sample for category 'keyboard.down' in the current theme"));
}

TEST_F(OneShotPlayback, TracesEachPlay) {
    const auto sample = test::constant(0.5F, 44100);
    theme->set(key, sample, 0.5F, 1200);
    build(true);
    engine->play(key, 0.5F, false);
    engine->play(key, 1, true);
    const auto tag = std::hash<const PcmBuffer*>{}(sample.get()) & 0xFFFF;
    EXPECT_EQ(
        log.lines(),
        (std::vector{
            logPrefix(fmt::format(
                "TRACE play keyboard.down variant={:X} rate=1.0000 vol=0.25 active=1", tag)),
            logPrefix(fmt::format(
                "TRACE play keyboard.down variant={:X} rate=0.5000 vol=0.50 active=2", tag))}));
}

TEST_F(OneShotPlayback, OnePlayIsTracedWhereItIsAskedForAndNeverTwice) {
    const auto sample = test::constant(0.5F, 44100);
    theme->set(key, sample);
    const auto tag = std::hash<const PcmBuffer*>{}(sample.get()) & 0xFFFF;
    const std::vector traced = {logPrefix(
        fmt::format("TRACE play keyboard.down variant={:X} rate=1.0000 vol=1.00 active=1", tag))};
    build();
    engine->playTraced(key, 1, false);
    EXPECT_EQ(log.lines(), traced);
    EXPECT_EQ(test::peak(listen(500)), 0.5F);
    log.clear();
    build(true);
    engine->playTraced(key, 1, false);
    EXPECT_EQ(log.lines(), traced);
}

TEST_F(OneShotPlayback, WithoutTracingItLogsNothing) {
    theme->set(key, test::constant(0.5F, 100));
    build();
    for (int i = 0; i < 20; ++i)
        engine->play(key, 1, true);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(OneShotPlayback, MasterVolumeIsNotPartOfTheVoicesVolume) {
    theme->set(key, test::constant(0.5F, 1000));
    build();
    engine->setMasterVolume(0.5F);
    engine->play(key, 1, false);
    EXPECT_EQ(engine->voices()[0].volume, 1.0F);
    listen(300);
    EXPECT_EQ(test::peak(listen(300)), 0.25F);
}

} // namespace
} // namespace morvel
