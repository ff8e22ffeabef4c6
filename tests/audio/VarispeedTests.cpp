#include "audio/Varispeed.h"
#include "tests/audio/Signals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace morvel {
namespace {

VarispeedSource sourceOf(const PcmBuffer& buffer, bool loops = false) {
    return {buffer.channels[0].data(), buffer.channels[1].data(), buffer.frameLength(), loops};
}

std::vector<float> renderAll(Varispeed& varispeed, const VarispeedSource& source, float rate,
                             std::size_t frames) {
    std::vector<float> out(2 * frames);
    const std::uint64_t step = Varispeed::stepForRate(rate);
    std::uint64_t position = 0;
    for (std::size_t done = 0; done < frames; done += blockFrames) {
        const auto count =
            static_cast<std::uint32_t>(std::min<std::size_t>(blockFrames, frames - done));
        varispeed.render(source, position, step, out.data() + 2 * done, count);
        position += count * step;
        if (source.loops)
            position %= source.length << positionFractionBits;
    }
    return out;
}

struct Tone {
    double frequency;
    float rate;
};

class VarispeedTone : public testing::TestWithParam<Tone> {};

TEST_P(VarispeedTone, LeavesNothingButTheShiftedSineAbove80DecibelsDown) {
    const auto [frequency, rate] = GetParam();
    for (const VarispeedKernel kernel : {fastestVarispeedKernel(), &interpolatePortably}) {
        Varispeed varispeed(kernel);
        const auto buffer = test::sine(frequency, 66000);
        const auto out = renderAll(varispeed, sourceOf(*buffer), rate, 32000);
        // The first frames still ring from the sudden start.
        const auto left = test::channel(std::span(out).subspan(400), 0);
        const auto fit = test::fitSine(left, frequency * static_cast<double>(rate));
        EXPECT_LT(test::decibels(fit.residualRms * std::numbers::sqrt2), -80);
        if (frequency * std::max(1.0, static_cast<double>(rate)) < 14000) {
            EXPECT_NEAR(test::decibels(fit.amplitude), 0, 0.1);
        }
        for (std::size_t i = 0; i < left.size(); ++i)
            ASSERT_EQ(out[2 * i + 1], -out[2 * i]) << "channels differ at " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(, VarispeedTone,
                         testing::Values(Tone{1000, 0.5F}, Tone{1000, 0.94F}, Tone{1000, 1.06F},
                                         Tone{1000, 2.0F}, Tone{10000, 0.5F}, Tone{10000, 0.94F},
                                         Tone{10000, 1.06F}, Tone{10000, 2.0F}, Tone{15000, 0.5F},
                                         Tone{15000, 0.97F}, Tone{6000, 1.5F}, Tone{15000, 2.0F},
                                         Tone{18000, 0.5F}, Tone{18000, 1.5F}),
                         [](const auto& tone) {
                             return std::to_string(std::lround(tone.param.frequency)) + "HzAtRate" +
                                    std::to_string(std::lround(100 * tone.param.rate));
                         });

TEST(Varispeed, HandsFramesThroughBitForBitAtRateOneWithoutDelay) {
    Varispeed varispeed;
    const auto buffer = test::noise(1000, 1);
    const auto out = renderAll(varispeed, sourceOf(*buffer), 1, 1000);
    EXPECT_EQ(test::channel(out, 0), buffer->channels[0]);
    EXPECT_EQ(test::channel(out, 1), buffer->channels[1]);
}

TEST(Varispeed, HasNoDelayAtOtherRates) {
    Varispeed varispeed;
    const auto buffer = test::sine(500, 8000);
    const auto out = renderAll(varispeed, sourceOf(*buffer), 0.75F, 4000);
    const auto expected = test::sine(375, 4000);
    float worst = 0;
    for (std::size_t i = 100; i < 4000; ++i)
        worst = std::max(worst, std::abs(out[2 * i] - expected->channels[0][i]));
    EXPECT_LT(worst, 1e-3F);
}

TEST(Varispeed, GivesTheSameAtBothEndsOfALoopAsInTheMiddleOfARepeatedBuffer) {
    Varispeed varispeed;
    const auto once = test::noise(301, 0.8F);
    std::vector<float> left;
    std::vector<float> right;
    for (int i = 0; i < 12; ++i) {
        left.insert(left.end(), once->channels[0].begin(), once->channels[0].end());
        right.insert(right.end(), once->channels[1].begin(), once->channels[1].end());
    }
    const auto repeated = test::bufferOf(left, right);
    const auto looped = renderAll(varispeed, sourceOf(*once, true), 1.1F, 2500);
    const auto straight = renderAll(varispeed, sourceOf(*repeated), 1.1F, 2500);
    for (std::size_t i = 100; i < 2 * 2500; ++i)
        ASSERT_NEAR(looped[i], straight[i], 1e-5F) << i;
}

TEST(Varispeed, LoopsABufferOfOneFrame) {
    Varispeed varispeed;
    const auto buffer = test::constant(0.5F, 1);
    const auto out = renderAll(varispeed, sourceOf(*buffer, true), 1.3F, 500);
    for (const float sample : out)
        ASSERT_NEAR(sample, 0.5F, 1e-6F);
}

TEST(Varispeed, LimitsTheRate) {
    EXPECT_EQ(Varispeed::stepForRate(0.1F), positionOne / 2);
    EXPECT_EQ(Varispeed::stepForRate(7), 2 * positionOne);
    EXPECT_EQ(Varispeed::stepForRate(-1), positionOne / 2);
    EXPECT_EQ(Varispeed::stepForRate(std::numeric_limits<float>::quiet_NaN()), positionOne);
    EXPECT_EQ(Varispeed::stepForRate(std::numeric_limits<float>::infinity()), 2 * positionOne);
}

TEST(Varispeed, GivesTheSameWithEitherKernelButForRounding) {
    Varispeed portable(&interpolatePortably);
    Varispeed fastest;
    const auto buffer = test::noise(5000, 1);
    for (const float rate : {0.5F, 0.77F, 1.03F, 1.2F, 1.5F, 1.99F}) {
        const auto a = renderAll(portable, sourceOf(*buffer), rate, 2001);
        const auto b = renderAll(fastest, sourceOf(*buffer), rate, 2001);
        for (std::size_t i = 0; i < a.size(); ++i)
            ASSERT_NEAR(a[i], b[i], 2e-6F) << "rate " << rate << " sample " << i;
    }
}

} // namespace
} // namespace morvel
