#include "audio/Renderer.h"
#include "tests/audio/Signals.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <limits>
#include <memory>

namespace morvel {
namespace {

class RendererTest : public testing::Test {
protected:
    std::vector<float> render(std::size_t frames, std::uint32_t block = 128) {
        std::vector<float> out(2 * frames);
        for (std::size_t done = 0; done < frames; done += block)
            renderer.render(out.data() + 2 * done, static_cast<std::uint32_t>(std::min<std::size_t>(
                                                       block, frames - done)));
        return out;
    }
    std::uint32_t delay() { return renderer.limiter().delayFrames(); }

    RenderCommands commands;
    Renderer renderer{commands};
};

TEST_F(RendererTest, HandsASampleAtRateOneAndFullVolumeThroughBitForBit) {
    const auto sample = test::noise(3000, 1);
    commands.play(3, sample, 1, 1, false);
    const auto out = render(4000);
    for (std::size_t i = 0; i < 3000; ++i) {
        ASSERT_EQ(out[2 * (i + delay())], sample->channels[0][i]) << i;
        ASSERT_EQ(out[2 * (i + delay()) + 1], sample->channels[1][i]) << i;
    }
    for (std::size_t i = 2 * (3000 + delay()); i < out.size(); ++i)
        ASSERT_EQ(out[i], 0) << i;
}

TEST_F(RendererTest, GivesTheSameWhateverTheBlockSizes) {
    const auto perform = [](std::uint32_t block) {
        RenderCommands own;
        Renderer other(own);
        for (std::size_t voice = 0; voice < voiceCount; ++voice)
            own.play(voice, test::noise(2000 + 100 * voice, 0.6F),
                     0.9F + 0.04F * static_cast<float>(voice), 0.7F, false);
        std::vector<float> out(6000);
        for (std::size_t done = 0; done < 3000; done += block)
            other.render(out.data() + 2 * done,
                         static_cast<std::uint32_t>(std::min<std::size_t>(block, 3000 - done)));
        return out;
    };
    // The limiter takes four frames at once where it can, and rounds otherwise than for one: by
    // less than a step of 16 bits.
    constexpr float rounding = 1e-5F;
    const auto reference = perform(128);
    for (const std::uint32_t block : {1U, 32U, 100U, 1000U}) {
        const auto other = perform(block);
        for (std::size_t i = 0; i < reference.size(); ++i)
            ASSERT_NEAR(other[i], reference[i], rounding) << "block " << block << " sample " << i;
    }
}

TEST_F(RendererTest, SixFullScaleSamplesAtOnceStayWithinFullScale) {
    for (std::size_t voice = 0; voice < 6; ++voice)
        commands.play(voice, test::noise(20000, 1, static_cast<std::uint32_t>(voice)), 1, 1, false);
    const auto out = render(21000);
    EXPECT_LE(test::peak(out), 1.0F);
    EXPECT_GT(test::peak(out), 0.9F);
}

// How much of a signal lies far above a slow tone: the largest magnitude of its sixth difference,
// which passes the top of the band and is 100 dB down at 500 Hz. A click shows as a spike.
float clickiness(std::span<const float> interleaved) {
    std::vector<double> signal;
    for (std::size_t i = 0; i < interleaved.size(); i += 2)
        signal.push_back(interleaved[i]);
    constexpr int order = 6;
    for (int pass = 0; pass < order; ++pass)
        for (std::size_t i = signal.size() - 1; i > 0; --i)
            signal[i] = (signal[i] - signal[i - 1]) / 2;
    double worst = 0;
    for (std::size_t i = order; i < signal.size(); ++i)
        worst = std::max(worst, std::abs(signal[i]));
    return static_cast<float>(worst);
}

TEST_F(RendererTest, AStolenVoiceGivesWayWithoutAClick) {
    const auto slow = test::sine(300, 44100, 0.8F);
    commands.play(0, slow, 1, 1, false);
    const auto before = render(1037); // not at a zero crossing
    commands.play(0, slow, 1, 1, true);
    auto out = before;
    const auto after = render(2000);
    out.insert(out.end(), after.begin(), after.end());
    EXPECT_LT(test::decibels(clickiness(out)), -45);

    // The measure hears a click where the old sound is simply cut off.
    std::vector<float> cut;
    for (std::size_t i = 0; i < 2000; ++i) {
        const float sample = slow->channels[0][i < 1037 ? i : i - 1037];
        cut.insert(cut.end(), {sample, sample});
    }
    EXPECT_GT(test::decibels(clickiness(cut)), -30);
}

TEST_F(RendererTest, TheSoundThatStealsAVoiceKeepsItsAttack) {
    const auto attack = test::noise(500, 0.4F);
    commands.play(0, test::constant(0.5F, 10000), 1, 1, false);
    render(1000);
    commands.play(0, attack, 1, 1, true);
    const auto out = render(600);
    float last = 0.5F;
    for (std::size_t i = 0; i < Voice::fadeFrames + 1; ++i) {
        const float old = out[2 * (i + delay())] - attack->channels[0][i];
        ASSERT_LE(old, last + 1e-6F) << "the old sound falls";
        last = old;
    }
    EXPECT_NEAR(last, 0, 1e-6F);
}

TEST_F(RendererTest, SurvivesAVoiceStolenManyTimesWithinAMillisecond) {
    commands.play(0, test::constant(0.9F, 10000), 1, 1, false);
    render(256);
    for (int i = 0; i < 20; ++i) {
        commands.play(0, test::constant(0.9F, 10000), 1, 1, true);
        render(4, 4);
    }
    EXPECT_LE(test::peak(render(1000)), 1.0F);
    EXPECT_NEAR(render(44100 / 2).back(), 0, 1e-6F);
}

TEST_F(RendererTest, ASoundOnAVoiceThatStillPlaysFollowsWithoutAGap) {
    commands.play(2, test::constant(0.25F, 100), 1, 1, false);
    commands.play(2, test::constant(0.5F, 100), 1, 1, false);
    const auto left = test::channel(render(400), 0);
    for (std::size_t i = 0; i < 100; ++i) {
        ASSERT_EQ(left[delay() + i], 0.25F) << i;
        ASSERT_EQ(left[delay() + 100 + i], 0.5F) << i;
    }
    EXPECT_EQ(left[delay() + 200], 0);
}

TEST_F(RendererTest, RampsTheSubmixVolumeOverAMillisecond) {
    commands.play(0, test::constant(0.5F, 10000), 1, 1, false);
    render(1000);
    commands.setSubmixVolume(0);
    const auto left = test::channel(render(300), 0);
    for (std::size_t i = 1; i < left.size(); ++i) {
        ASSERT_LE(left[i], left[i - 1]);
        ASSERT_GT(left[i] - left[i - 1], -0.5F / 40) << "a step at " << i;
    }
    EXPECT_EQ(left.back(), 0);
}

TEST_F(RendererTest, SilencingStopsEverythingAndForgetsWhatIsQueued) {
    commands.play(0, test::constant(0.5F, 100000), 1, 1, false);
    commands.startLoop(test::constant(0.2F, 1000), 1, 1);
    render(500);
    EXPECT_TRUE(commands.voicePlaying(0));
    EXPECT_TRUE(commands.loopPlaying());
    commands.play(1, test::constant(0.5F, 100000), 1, 1, false);
    commands.silence();
    render(500);
    EXPECT_EQ(test::peak(render(500)), 0);
    EXPECT_FALSE(commands.voicePlaying(0));
    EXPECT_FALSE(commands.voicePlaying(1));
    EXPECT_FALSE(commands.loopPlaying());
    commands.play(1, test::constant(0.5F, 1000), 1, 1, false);
    EXPECT_EQ(test::peak(render(500)), 0.5F);
}

TEST_F(RendererTest, AFullQueueDropsTheNewestSoundsAndCountsThem) {
    const auto sample = test::constant(0.01F, 10);
    int accepted = 0;
    for (std::size_t i = 0; i < RenderCommands::queueCapacity + 50; ++i)
        accepted += commands.play(i % voiceCount, sample, 1, 1, false) ? 1 : 0;
    EXPECT_EQ(accepted + static_cast<int>(commands.droppedCount()),
              static_cast<int>(RenderCommands::queueCapacity) + 50);
    EXPECT_GE(commands.droppedCount(), 49U);
    EXPECT_GE(accepted, static_cast<int>(RenderCommands::queueCapacity) - 1);
    render(5000);
    EXPECT_TRUE(commands.play(0, sample, 1, 1, false));
}

TEST_F(RendererTest, LetsGoOfBuffersOffTheAudioThread) {
    auto sample = std::make_shared<PcmBuffer>(*test::constant(0.1F, 300));
    const std::weak_ptr<PcmBuffer> watch = sample;
    commands.play(0, sample, 1, 1, false);
    sample.reset();
    render(1000);
    EXPECT_FALSE(watch.expired()) << "the audio side freed memory";
    commands.collect();
    EXPECT_TRUE(watch.expired());
    EXPECT_EQ(commands.heldBufferCount(), 0U);
}

TEST_F(RendererTest, KeepsNoBufferAfterTenThousandPlaysInAnyOrder) {
    for (int round = 0; round < 100; ++round) {
        for (std::size_t i = 0; i < 100; ++i)
            commands.play(i % voiceCount, test::constant(0.001F, 30 + i), 1.01F, 0.1F, i % 3 == 0);
        if (round % 7 == 3)
            commands.silence();
        render(64);
        EXPECT_LE(commands.heldBufferCount(), KeptBuffers::capacity);
    }
    commands.silence();
    render(300);
    commands.collect();
    EXPECT_EQ(commands.heldBufferCount(), 0U);
}

TEST_F(RendererTest, PlaysAnEmptyBufferAsNothing) {
    commands.play(0, test::constant(0, 0), 1, 1, false);
    commands.play(0, test::constant(0.5F, 100), 1, 1, false);
    commands.startLoop(test::constant(0, 0), 1, 1);
    const auto out = render(500);
    EXPECT_EQ(test::peak(out), 0.5F);
    EXPECT_FALSE(commands.loopPlaying());
}

TEST_F(RendererTest, LeavesTheThreadsFloatingPointModeAsItWas) {
    volatile float tiny = std::numeric_limits<float>::denorm_min();
    render(64);
    EXPECT_GT(tiny * 2.0F, 0.0F);
}

TEST_F(RendererTest, ALoopRepeatsUntilItIsStopped) {
    commands.startLoop(test::constant(0.25F, 333), 1.07F, 1);
    const auto out = render(20000);
    for (std::size_t i = delay(); i < 20000; ++i)
        ASSERT_NEAR(out[2 * i], 0.25F, 1e-4F) << i;
    commands.stopLoop();
    render(300);
    EXPECT_EQ(test::peak(render(300)), 0);
    commands.collect();
    EXPECT_EQ(commands.heldBufferCount(), 0U);
}

TEST_F(RendererTest, ALoopStoppedBeforeItWasEverRenderedStaysSilent) {
    commands.startLoop(test::constant(0.25F, 333), 1, 1);
    commands.stopLoop();
    EXPECT_EQ(test::peak(render(1000)), 0);
}

} // namespace
} // namespace morvel
