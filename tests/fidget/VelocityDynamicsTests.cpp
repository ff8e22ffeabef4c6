#include "fidget/VelocityDynamics.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace morvel {
namespace {

// A reading whose smoothed speed is `speed`: dynamics that move at that speed already.
VelocityDynamics::Reading readingAt(double speed) {
    VelocityDynamics dynamics{speed, 10.0};
    return dynamics.ingest(speed / 64, 0, 10.0 + 1.0 / 64);
}

TEST(VelocityDynamics, TheFirstSampleIsMeasuredOverASixtiethOfASecond) {
    VelocityDynamics dynamics;
    const auto reading = dynamics.ingest(1, 0, 100);
    EXPECT_NEAR(reading.instantSpeed, 60, 1e-9);
    EXPECT_NEAR(reading.smoothedSpeed, 21, 1e-9);
    EXPECT_EQ(reading.smoothedSpeed, dynamics.smoothedSpeed);
    EXPECT_EQ(reading.gain, 0.1F);
    EXPECT_EQ(reading.rate, 0.8F);
    EXPECT_EQ(dynamics.lastTimestamp, 100);
}

TEST(VelocityDynamics, TwoSamplesOfTheSameInstantAreATwoHundredAndFortiethApart) {
    VelocityDynamics dynamics;
    dynamics.ingest(0, 0, 100);
    EXPECT_NEAR(dynamics.ingest(3, 4, 100).instantSpeed, 5 * 240, 1e-9);
    EXPECT_NEAR(dynamics.ingest(3, 4, 99).instantSpeed, 5 * 240, 1e-9) << "time that goes back";
    EXPECT_EQ(dynamics.lastTimestamp, 99);
}

TEST(VelocityDynamics, APauseCountsAsAFifteenthOfASecond) {
    VelocityDynamics dynamics;
    dynamics.ingest(0, 0, 100);
    EXPECT_NEAR(dynamics.ingest(2, 0, 102).instantSpeed, 30, 1e-9);
    EXPECT_EQ(dynamics.lastTimestamp, 102) << "the caller's time, not the limited one";
}

TEST(VelocityDynamics, SmoothsByThirtyFivePercentOfTheNewSample) {
    VelocityDynamics dynamics;
    dynamics.ingest(1, 0, 100);
    const auto reading = dynamics.ingest(3, 4, 100.05);
    EXPECT_NEAR(reading.instantSpeed, 100, 1e-9);
    EXPECT_NEAR(reading.smoothedSpeed, 21 + (100 - 21) * 0.35, 1e-9);
}

TEST(VelocityDynamics, ASpeedOfFortyIsTheFloorAndThreeThousandTheCeiling) {
    EXPECT_EQ(readingAt(40).gain, 0.1F);
    EXPECT_EQ(readingAt(40).rate, 0.8F);
    for (const double fast : {3000.0, 3000.5, 1e6, std::numeric_limits<double>::max()}) {
        EXPECT_EQ(readingAt(fast).gain, 1.0F) << fast;
        EXPECT_FLOAT_EQ(readingAt(fast).rate, 1.55F) << fast;
    }
}

TEST(VelocityDynamics, TheGeometricMeanOfFloorAndCeilingIsHalfTheIntensity) {
    const auto reading = readingAt(40 * std::sqrt(75.0));
    EXPECT_NEAR(reading.gain, 0.55F, 1e-6F);
    EXPECT_NEAR(reading.rate, 1.175F, 1e-6F);
}

TEST(VelocityDynamics, EveryDoublingIsTheSameStep) {
    const float step = readingAt(160).gain - readingAt(80).gain;
    EXPECT_NEAR(readingAt(2560).gain - readingAt(1280).gain, step, 1e-6F);
}

TEST(VelocityDynamics, WhatIsNotANumberIsTheFloor) {
    VelocityDynamics dynamics;
    const auto reading = dynamics.ingest(std::numeric_limits<double>::quiet_NaN(), 0, 100);
    EXPECT_EQ(reading.gain, 0.1F);
    EXPECT_EQ(reading.rate, 0.8F);
    VelocityDynamics other;
    EXPECT_NEAR(other.ingest(1, 0, std::numeric_limits<double>::quiet_NaN()).instantSpeed, 240,
                1e-9);
}

} // namespace
} // namespace morvel
