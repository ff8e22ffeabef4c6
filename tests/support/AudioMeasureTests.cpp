#include "tests/support/AudioMeasure.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <numbers>

namespace morvel::measure {
namespace {

constexpr double rate = 44100;

// The same in both channels, `frames` long; `value` is asked for the time in seconds.
WavSound sound(std::size_t frames, const std::function<double(double)>& value) {
    WavSound result{44100, 2, 16, {}};
    for (std::size_t i = 0; i < frames; ++i) {
        const auto sample =
            static_cast<std::int16_t>(std::lround(32767 * value(static_cast<double>(i) / rate)));
        result.samples.insert(result.samples.end(), 2, sample);
    }
    return result;
}

double tone(double hz, double time) {
    return std::sin(2 * std::numbers::pi * hz * time);
}

TEST(SpectralCentroid, OfAToneIsItsFrequency) {
    for (const double hz : {500.0, 2000.0, 9000.0})
        EXPECT_NEAR(spectralCentroidHz(sound(6000, [=](double t) { return 0.5 * tone(hz, t); })),
                    hz, 0.01 * hz);
}

TEST(SpectralCentroid, OfTwoTonesLiesBetweenThemByTheirPower) {
    const auto both = sound(6000, [](double t) {
        return 0.6 * tone(1000, t) + 0.3 * tone(5000, t); // four parts of power to one
    });
    EXPECT_NEAR(spectralCentroidHz(both), 1800, 30);
}

TEST(SpectralCentroid, HearsTheFirstHundredAndFiftyMillisecondsAlone) {
    const auto changing =
        sound(44100, [](double t) { return 0.5 * tone(t < 0.15 ? 1000 : 8000, t); });
    EXPECT_NEAR(spectralCentroidHz(changing), 1000, 20);
}

// Energy is the square: it falls twice as fast as the amplitude, to a hundredth in T ln 10.
TEST(Decay, OfAnExponentialIsTheTimeInWhichItsEnergyFallsByTwentyDecibels) {
    for (const double seconds : {0.005, 0.02, 0.04}) {
        const auto fading = sound(44100, [=](double t) {
            return t < 0.1 ? 0 : 0.9 * std::exp((0.1 - t) / seconds) * tone(4000, t);
        });
        EXPECT_NEAR(decay20Ms(fading), 1000 * seconds * std::numbers::ln10, 0.6);
    }
}

TEST(Seam, OfWholeWavesIsNoRougherThanTheRest) {
    const auto whole = sound(441, [](double t) { return 0.5 * tone(500, t); });
    EXPECT_LE(measureSeam(whole).step, 1);
    EXPECT_LE(measureSeam(whole).bend, 1.05); // rounding to the steps of the format bends, too
}

TEST(Seam, OfAWaveCutInItsMiddleIsAStepOrABend) {
    const auto jumping = sound(441 + 22, [](double t) { return 0.5 * tone(500, t); }); // a crest
    EXPECT_GT(measureSeam(jumping).step, 5);
    const auto folded = sound(441 + 44, [](double t) { return 0.5 * tone(500, t); }); // half a wave
    EXPECT_GT(measureSeam(folded).bend, 5);
}

} // namespace
} // namespace morvel::measure
