// The built-in themes as they are typed on.
#include "tests/support/ProgrammeLoudness.h"
#include "tests/tools/BuiltInThemes.h"
#include "tests/tools/TypingPerformance.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace morvel {
namespace {

using test::Performance;
using test::Typing;

constexpr Typing fastMinute{60, 12, 3};
constexpr Typing flurry{15, 21, 3}; // more sounds than there are voices
constexpr Typing calm{15, 5, 1};
constexpr float quietDb = -20;
constexpr float quiet = 0.1F;

double peakOf(const std::vector<float>& samples) {
    float highest = 0;
    for (const float sample : samples)
        highest = std::max(highest, std::fabs(sample));
    return static_cast<double>(highest);
}

// All sounds added up, however many there are at once: what the engine makes of them, delay
// included, as long as it cuts none off.
std::vector<float> sumOf(const Performance& performance, float gain) {
    std::vector<float> sum(performance.output.size());
    for (const auto& [startFrame, sample] : performance.sounds) {
        const std::size_t start = startFrame + performance.delayFrames;
        for (std::size_t side = 0; side < 2; ++side) {
            const auto& channel = sample.buffer->channels[side];
            for (std::size_t i = 0; i < channel.size() && start + i < sum.size() / 2; ++i)
                sum[2 * (start + i) + side] += channel[i] * sample.gain * gain;
        }
    }
    return sum;
}

double medianPeakOf(const Performance& performance) {
    std::vector<double> peaks;
    for (const auto& sound : performance.sounds)
        peaks.push_back(static_cast<double>(sound.sample.gain) *
                        std::max(peakOf(sound.sample.buffer->channels[0]),
                                 peakOf(sound.sample.buffer->channels[1])));
    std::nth_element(peaks.begin(), peaks.begin() + static_cast<std::ptrdiff_t>(peaks.size() / 2),
                     peaks.end());
    return peaks[peaks.size() / 2];
}

class ThemePlaying : public testing::TestWithParam<const char*> {};

INSTANTIATE_TEST_SUITE_P(BuiltIn, ThemePlaying, testing::ValuesIn(test::builtInThemes),
                         [](const auto& theme) { return std::string(theme.param); });

// Share of the time in which the limiter changes what comes out. Its own work scales with the gain
// before it, so the same performance well below full scale shows what it would have been without.
double limitedPercent(const Performance& loud, const Performance& free, float ratio) {
    std::size_t limited = 0;
    for (std::size_t i = 0; i < loud.output.size(); i += 2)
        limited += std::fabs(loud.output[i] * ratio - free.output[i]) > 1e-5F ||
                   std::fabs(loud.output[i + 1] * ratio - free.output[i + 1]) > 1e-5F;
    return 200 * static_cast<double>(limited) / static_cast<double>(loud.output.size());
}

// Of the mix as it reaches the limiter, full scale 1: by the same performance so soft that the
// limiter hands it through.
double peakBeforeTheLimiter(const Performance& free) {
    return peakOf(free.output) / static_cast<double>(quiet);
}

TEST_P(ThemePlaying, AFastMinuteAtFullVolumeNeverNeedsTheLimiter) {
    const auto theme = test::builtInTheme(GetParam());
    ASSERT_TRUE(theme);
    const auto loud = test::perform(theme, fastMinute, true);
    const auto free = test::perform(theme, fastMinute, true, quietDb);
    ASSERT_GT(loud.sounds.size(), 1400u);
    RecordProperty("peakBeforeTheLimiter", std::to_string(peakBeforeTheLimiter(free)));
    EXPECT_LE(peakBeforeTheLimiter(free), 1);
    EXPECT_EQ(limitedPercent(loud, free, quiet), 0);
}

TEST(ThemesPlaying, WhatIsFourTimesTooLoudIsSeenBeforeTheLimiterAndInItsWorkButNotBehindIt) {
    constexpr float fourTimesDb = 12;
    const auto theme = test::builtInTheme("galosh");
    ASSERT_TRUE(theme);
    const auto loud = test::perform(theme, calm, true, fourTimesDb);
    const auto free = test::perform(theme, calm, true, quietDb + fourTimesDb);
    EXPECT_GT(peakBeforeTheLimiter(free), 1);
    EXPECT_GT(limitedPercent(loud, free, quiet), 5);
    EXPECT_LE(peakOf(loud.output), 1);
}

// What sets the engine's output apart from the plain sum is the rest of the sounds cut off.
double clickDb(const std::shared_ptr<const SoundTheme>& theme) {
    const auto performance = test::perform(theme, flurry, false, quietDb);
    auto difference = sumOf(performance, quiet);
    for (std::size_t i = 0; i < difference.size(); ++i)
        difference[i] -= performance.output[i];
    const double sound = static_cast<double>(quiet) * medianPeakOf(performance);
    return 20 * std::log10(std::max(peakOf(difference), 1e-9) / sound);
}

TEST_P(ThemePlaying, AVoiceTakenFromASoundMakesNoClick) {
    const auto theme = test::builtInTheme(GetParam());
    ASSERT_TRUE(theme);
    const double click = clickDb(theme);
    RecordProperty("clickDb", std::to_string(click));
    EXPECT_LE(click, -40);
    EXPECT_GT(click, -110) << "no voice was taken";
}

TEST(ThemesPlaying, NoneIsLouderThanAnotherByMoreThanTwoUnits) {
    double loudest = -100;
    double softest = 100;
    for (const char* id : test::builtInThemes) {
        const auto theme = test::builtInTheme(id);
        ASSERT_TRUE(theme) << id;
        const double level = measure::integratedLoudness(test::perform(theme, calm, true).output);
        RecordProperty(id, std::to_string(level));
        loudest = std::max(loudest, level);
        softest = std::min(softest, level);
    }
    EXPECT_LE(loudest - softest, 2);
    EXPECT_GT(softest, -50);
}

std::vector<float> tone(double hz, double level, double seconds) {
    std::vector<float> samples;
    for (double i = 0; i < seconds * 44100; ++i) {
        const double value = level * std::sin(2 * std::numbers::pi * hz * i / 44100);
        samples.insert(samples.end(), 2, static_cast<float>(value));
    }
    return samples;
}

TEST(ProgrammeLoudness, OfToneInBothChannelsIsAsTheStandardSays) {
    EXPECT_NEAR(measure::integratedLoudness(tone(997, 1, 2)), 0, 0.05);
    EXPECT_NEAR(measure::integratedLoudness(tone(997, 0.1, 2)), -20, 0.05);
    EXPECT_NEAR(measure::integratedLoudness(tone(10000, 0.1, 2)), -16.7, 0.15);
    EXPECT_NEAR(measure::integratedLoudness(tone(25, 0.1, 2)), -31, 1.5);
}

TEST(ProgrammeLoudness, LeavesOutSilenceAndWhatIsTenUnitsSofter) {
    auto samples = tone(997, 0.1, 3);
    const auto soft = tone(997, 0.001, 6);
    samples.insert(samples.end(), soft.begin(), soft.end());
    samples.resize(samples.size() + 2 * 44100);
    EXPECT_NEAR(measure::integratedLoudness(samples), -20, 0.3);
    EXPECT_EQ(measure::integratedLoudness(std::vector<float>(88200)), -70);
    EXPECT_EQ(measure::integratedLoudness({}), -70);
}

} // namespace
} // namespace morvel
