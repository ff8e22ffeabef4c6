#include "audio/sample/SampleConversion.h"
#include "tests/support/WavFiles.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <iterator>

namespace morvel {
namespace {

DecodedAudio sineAudio(AudioFormat format, std::size_t frames) {
    DecodedAudio audio{format, {}};
    audio.channels.assign(format.channels, sine({format.sampleRate, 1}, frames));
    return audio;
}

// One frame of the given channels, at the canonical rate.
PcmBuffer mixOf(const std::vector<float>& frame) {
    DecodedAudio audio{{44100, static_cast<std::uint32_t>(frame.size())}, {}};
    for (const float sample : frame)
        audio.channels.push_back({sample});
    auto mixed = convertToCanonical(audio);
    EXPECT_TRUE(mixed);
    return mixed ? mixed.value() : PcmBuffer{};
}

// The largest difference from the sine that was converted, away from the ends.
double worstError(const std::vector<float>& channel) {
    const auto expected = sine({44100, 1}, channel.size());
    double worst = 0;
    for (std::size_t i = 500; i + 500 < channel.size(); ++i)
        worst = std::max(worst, std::abs(static_cast<double>(channel[i] - expected[i])));
    return worst;
}

TEST(SampleConversion, UsesCanonicalAudioAsItIs) {
    DecodedAudio audio = sineAudio(canonicalFormat, 1000);
    audio.channels[1][3] = 7.0F;
    const float* const samples = audio.channels[0].data();
    const auto channels = audio.channels;
    const auto converted = convertToCanonical(std::move(audio));
    ASSERT_TRUE(converted);
    EXPECT_EQ(converted->channels[0], channels[0]);
    EXPECT_EQ(converted->channels[1], channels[1]);
    EXPECT_EQ(converted->channels[0].data(), samples);
}

TEST(SampleConversion, GivesTheScaledLengthPlusAMarginAsRoom) {
    EXPECT_EQ(conversionCapacity(48000, 48000), 44100u + 4096u);
    EXPECT_EQ(conversionCapacity(1001, 48000), 919u + 4096u); // 919.66…, rounded down
    EXPECT_EQ(conversionCapacity(0, 48000), 4096u);
}

TEST(SampleConversion, TurnsMonoAt48000IntoStereoAt44100) {
    const auto converted = convertToCanonical(sineAudio({48000, 1}, 48000));
    ASSERT_TRUE(converted);
    EXPECT_NEAR(static_cast<double>(converted->frameLength()), 44100, 1);
    EXPECT_EQ(converted->channels[0], converted->channels[1]);
    EXPECT_LT(worstError(converted->channels[0]), 1e-5);
}

TEST(SampleConversion, ConvertsEveryOrdinaryRateInPlaceAndLevel) {
    for (const double rate :
         {8000.0, 11025.0, 22050.0, 32000.0, 88200.0, 96000.0, 192000.0, 384000.0, 768000.0}) {
        const auto frames = static_cast<std::size_t>(rate / 2);
        const auto converted = convertToCanonical(sineAudio({rate, 2}, frames));
        ASSERT_TRUE(converted) << rate;
        EXPECT_NEAR(static_cast<double>(converted->frameLength()), 22050, 4) << rate;
        EXPECT_LT(worstError(converted->channels[0]), 1e-4) << rate;
        EXPECT_LT(worstError(converted->channels[1]), 1e-4) << rate;
    }
}

TEST(SampleConversion, StaysWithinItsRoomAtTheLowestRate) {
    const auto converted = convertToCanonical(sineAudio({lowestSampleRate, 2}, 3));
    ASSERT_TRUE(converted);
    EXPECT_LE(converted->frameLength(), conversionCapacity(3, lowestSampleRate));
}

TEST(SampleConversion, HasNoConverterForRatesOutsideItsRangeOrForNoChannels) {
    for (const AudioFormat format : {AudioFormat{999, 2}, AudioFormat{768001, 2},
                                     AudioFormat{2e9, 2}, AudioFormat{44100, 0}}) {
        const auto converted = convertToCanonical(sineAudio(format, 10));
        ASSERT_FALSE(converted) << format.sampleRate;
        EXPECT_EQ(converted.error().kind, ConversionError::Kind::noConverter);
    }
}

TEST(SampleConversion, PutsMonoOnBothSidesUnchanged) {
    const PcmBuffer stereo = mixOf({0.3F});
    EXPECT_EQ(stereo.channels[0], std::vector<float>{0.3F});
    EXPECT_EQ(stereo.channels[1], std::vector<float>{0.3F});
}

TEST(SampleConversion, MixesSurroundAsFilmSoundIs) {
    const float total = 1 + 2 * std::sqrt(0.5F);
    const PcmBuffer left = mixOf({1, 0, 0, 0, 0, 0});
    EXPECT_NEAR(left.channels[0][0], 1 / total, 1e-6);
    EXPECT_EQ(left.channels[1][0], 0.0F);
    const PcmBuffer centre = mixOf({0, 0, 1, 0, 0, 0});
    EXPECT_NEAR(centre.channels[0][0], std::sqrt(0.5F) / total, 1e-6);
    EXPECT_EQ(centre.channels[0][0], centre.channels[1][0]);
    const PcmBuffer low = mixOf({0, 0, 0, 1, 0, 0});
    EXPECT_EQ(low.channels[0][0], 0.0F);
    const PcmBuffer behind = mixOf({0, 0, 0, 0, 0, 1});
    EXPECT_EQ(behind.channels[0][0], 0.0F);
    EXPECT_GT(behind.channels[1][0], 0.0F);
}

TEST(SampleConversion, NeverMixesBeyondFullScale) {
    for (std::size_t channels = 3; channels <= 64; ++channels) {
        const PcmBuffer loud = mixOf(std::vector<float>(channels, 1.0F));
        EXPECT_NEAR(loud.channels[0][0], 1, 1e-5) << channels;
        EXPECT_NEAR(loud.channels[1][0], 1, 1e-5) << channels;
    }
}

TEST(SampleConversion, AlternatesUnknownLayoutsBetweenTheSides) {
    const PcmBuffer odd = mixOf({0, 1, 0, 1, 0, 1, 0});
    EXPECT_EQ(odd.channels[0][0], 0.0F);
    EXPECT_NEAR(odd.channels[1][0], 1, 1e-6);
}

TEST(SampleConversion, StartsNoThreads) {
    const auto threads = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
    };
    const auto before = threads();
    ASSERT_TRUE(convertToCanonical(sineAudio({96000, 2}, 500000)));
    EXPECT_EQ(threads(), before);
}

} // namespace
} // namespace morvel
