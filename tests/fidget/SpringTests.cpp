#include "fidget/Spring.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace morvel {
namespace {

constexpr double frame = 1.0 / 60;

Spring released(double response, double damping) {
    Spring spring(response, damping);
    spring.setTarget(1);
    return spring;
}

// The equation itself, in steps so small that their error does not count.
double integrated(double response, double damping, double seconds) {
    const double frequency = 2 * std::numbers::pi / response;
    constexpr double step = 1e-6;
    double offset = -1;
    double velocity = 0;
    for (double t = 0; t < seconds; t += step) {
        velocity += (-frequency * frequency * offset - 2 * damping * frequency * velocity) * step;
        offset += velocity * step;
    }
    return 1 + offset;
}

TEST(Spring, FollowsTheOscillatorsEquationBelowAtAndAboveCriticalDamping) {
    for (const double damping : {0.5, 0.65, 0.999999, 1.0, 1.000001, 2.0})
        for (const double seconds : {0.02, 0.1, 0.17}) {
            Spring spring = released(0.3, damping);
            spring.advance(seconds);
            EXPECT_NEAR(spring.value(), integrated(0.3, damping, seconds), 2e-4)
                << damping << " at " << seconds;
        }
}

TEST(Spring, HowOftenItIsAdvancedDoesNotChangeItsPath) {
    Spring often = released(0.28, 0.6);
    Spring once = released(0.28, 0.6);
    for (int i = 0; i < 100; ++i)
        often.advance(0.001);
    once.advance(0.1);
    EXPECT_NEAR(often.value(), once.value(), 1e-9);
    EXPECT_NEAR(often.velocity(), once.velocity(), 1e-8);
}

TEST(Spring, OvershootsByWhatItsDampingSays) {
    for (const double damping : {0.5, 0.55, 0.6, 0.65}) {
        Spring spring = released(0.22, damping);
        double highest = 0;
        while (!spring.isSettled()) {
            spring.advance(0.0005);
            highest = std::max(highest, spring.value());
        }
        const double expected =
            std::exp(-damping * std::numbers::pi / std::sqrt(1 - damping * damping));
        EXPECT_NEAR(highest, 1 + expected, 1e-4) << damping;
    }
}

TEST(Spring, NeitherValueNorVelocityJumpsWhenTheTargetChanges) {
    Spring spring = released(0.22, 0.5);
    spring.advance(0.05);
    const double value = spring.value();
    const double velocity = spring.velocity();
    spring.setTarget(0);
    EXPECT_EQ(spring.value(), value);
    EXPECT_EQ(spring.velocity(), velocity);
    spring.advance(1e-6);
    EXPECT_NEAR(spring.value(), value + velocity * 1e-6, 1e-8);
}

TEST(Spring, SettlesOnExactlyTheTargetAndStaysThere) {
    for (const double damping : {0.3, 1.0, 3.0}) {
        Spring spring = released(0.16, damping);
        int frames = 0;
        while (!spring.isSettled() && frames < 600) {
            spring.advance(frame);
            ++frames;
        }
        EXPECT_EQ(spring.value(), 1) << damping;
        EXPECT_EQ(spring.velocity(), 0) << damping;
        spring.advance(frame);
        EXPECT_EQ(spring.value(), 1) << damping;
    }
}

TEST(Spring, IsNotAtRestWhileItPassesItsTarget) {
    Spring spring = released(1, 0.1);
    while (spring.value() < 1)
        spring.advance(0.0001);
    EXPECT_FALSE(spring.isSettled());
}

TEST(Spring, ComesToRestHoweverLongTheFrame) {
    Spring spring = released(0.3, 0.65);
    spring.advance(3600);
    EXPECT_TRUE(spring.isSettled());
}

TEST(Spring, NoTimeNoMovement) {
    Spring spring = released(0.3, 0.65);
    spring.advance(0);
    spring.advance(-1);
    EXPECT_EQ(spring.value(), 0);
    EXPECT_FALSE(spring.isSettled());
}

} // namespace
} // namespace morvel
