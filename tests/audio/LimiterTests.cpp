#include "audio/Limiter.h"
#include "tests/audio/Signals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace morvel {
namespace {

std::vector<float> limited(Limiter& limiter, std::vector<float> interleaved,
                           std::size_t block = blockFrames) {
    const std::size_t frames = interleaved.size() / 2;
    for (std::size_t done = 0; done < frames; done += block)
        limiter.process(interleaved.data() + 2 * done,
                        static_cast<std::uint32_t>(std::min(block, frames - done)));
    return interleaved;
}

std::vector<float> interleave(const PcmBuffer& buffer, float gain = 1) {
    std::vector<float> result;
    for (std::size_t i = 0; i < buffer.frameLength(); ++i) {
        result.push_back(gain * buffer.channels[0][i]);
        result.push_back(gain * buffer.channels[1][i]);
    }
    return result;
}

TEST(Limiter, LooksAheadByItsAttack) {
    Limiter limiter;
    EXPECT_EQ(limiter.delayFrames(), 44U);
    EXPECT_EQ(limiter.setParameter(Limiter::attackTime, 0.01F), LimiterStatus::ok);
    EXPECT_EQ(limiter.delayFrames(), 441U);
}

TEST(Limiter, IsTransparentBitForBitUpToFullScaleButForItsDelay) {
    Limiter limiter;
    auto input = interleave(*test::noise(5000, 0.999F));
    input[600] = 1;
    input[601] = -1;
    for (const std::size_t block : {128U, 1U, 77U}) {
        limiter.setParameter(Limiter::attackTime, 0.001F);
        const auto out = limited(limiter, input, block);
        for (std::size_t i = 0; i + 88 < input.size(); ++i)
            ASSERT_EQ(out[i + 88], input[i]) << "block " << block << " sample " << i;
    }
}

TEST(Limiter, NeverLetsASamplePastFullScale) {
    for (const float attack : {0.001F, 0.0123F, 0.03F})
        for (const float gain : {1.1F, 3.0F, 6.0F, 1000.0F}) {
            Limiter limiter;
            limiter.setParameter(Limiter::attackTime, attack);
            auto input = interleave(*test::noise(20000, gain));
            for (std::size_t i = 3000; i < 9000; ++i)
                input[i] *= 0.001F; // quiet, so that the release is under way when it is loud again
            EXPECT_LE(test::peak(limited(limiter, input)), 1.0F);
        }
}

TEST(Limiter, HasLoweredItsGainBeforeThePeakAndNotCutItOff) {
    Limiter limiter;
    std::vector<float> input(2 * 2000, 0.5F);
    input[2 * 1000] = 4;
    const auto out = limited(limiter, input);
    const std::size_t at = 1000 + limiter.delayFrames();
    EXPECT_NEAR(out[2 * at], 1.0F, 1e-3F);
    EXPECT_NEAR(out[2 * at + 1], 0.125F, 1e-3F); // both channels share one gain
    EXPECT_EQ(out[2 * (at - limiter.delayFrames()) - 2], 0.5F);
    for (std::size_t i = at - limiter.delayFrames() + 1; i < at; ++i)
        EXPECT_LE(out[2 * i + 1], out[2 * i - 1]) << "gain rises before the peak";
}

TEST(Limiter, ReleasesWithItsDecayTimeAndIsTransparentAgainAfterwards) {
    Limiter limiter;
    std::vector<float> input(2 * 40000, 0.5F);
    input[0] = 2;
    const auto out = limited(limiter, input);
    const auto gainAt = [&](double seconds) {
        return out[2 * static_cast<std::size_t>(44 + 44 + seconds * 44100)] / 0.5F;
    };
    EXPECT_NEAR(gainAt(0.04), 1 - 0.5 * std::exp(-1.0), 0.02);
    EXPECT_NEAR(gainAt(0.08), 1 - 0.5 * std::exp(-2.0), 0.02);
    for (std::size_t i = 2 * 30000; i < out.size(); ++i)
        ASSERT_EQ(out[i], 0.5F) << i;
}

TEST(Limiter, AppliesThePreGain) {
    Limiter limiter;
    EXPECT_EQ(limiter.setParameter(Limiter::preGain, -20.0F), LimiterStatus::ok);
    const auto out = limited(limiter, std::vector<float>(2 * 500, 0.5F));
    EXPECT_NEAR(out[2 * 400], 0.05F, 1e-6F);
}

TEST(Limiter, RefusesUnknownParametersAndIllegalValues) {
    Limiter limiter;
    EXPECT_EQ(limiter.setParameter(3, 0), LimiterStatus::unknownParameter);
    EXPECT_NE(static_cast<int>(LimiterStatus::unknownParameter), 0);
    EXPECT_NE(static_cast<int>(LimiterStatus::illegalValue), 0);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (const float value : {nan, -1.0F, 0.0F, 100.0F}) {
        EXPECT_EQ(limiter.setParameter(Limiter::attackTime, value), LimiterStatus::illegalValue);
        EXPECT_EQ(limiter.setParameter(Limiter::decayTime, value), LimiterStatus::illegalValue);
    }
    EXPECT_EQ(limiter.setParameter(Limiter::preGain, nan), LimiterStatus::illegalValue);
    EXPECT_EQ(limiter.setParameter(Limiter::preGain, 41), LimiterStatus::illegalValue);
    EXPECT_EQ(limiter.delayFrames(), 44U);
}

TEST(Limiter, TakesDamagedSamplesForSilence) {
    Limiter limiter;
    std::vector<float> input(2 * 1000, 0.25F);
    input[100] = std::numeric_limits<float>::quiet_NaN();
    input[200] = std::numeric_limits<float>::infinity();
    input[300] = -std::numeric_limits<float>::infinity();
    const auto out = limited(limiter, input);
    for (std::size_t i = 88; i < out.size(); ++i) {
        const bool damaged = i == 188 || i == 288 || i == 388;
        ASSERT_EQ(out[i], damaged ? 0.0F : 0.25F) << i;
    }
}

} // namespace
} // namespace morvel
