#include "fidget/DialTickCounter.h"

#include <gtest/gtest.h>

#include <limits>

namespace morvel {
namespace {

int ticksOf(DialTickCounter& counter, int moves, double degrees) {
    int ticks = 0;
    for (int i = 0; i < moves; ++i)
        ticks += counter.advance(degrees);
    return ticks;
}

TEST(ShortestAngularDelta, TakesTheShorterWay) {
    EXPECT_EQ(shortestAngularDelta(10, 20), 10);
    EXPECT_EQ(shortestAngularDelta(20, 10), -10);
    EXPECT_EQ(shortestAngularDelta(179, -179), 2);
    EXPECT_EQ(shortestAngularDelta(-179, 179), -2);
    EXPECT_EQ(shortestAngularDelta(350, 10), 20);
}

TEST(ShortestAngularDelta, HalfATurnKeepsTheSignThatItCameWith) {
    EXPECT_EQ(shortestAngularDelta(0, 180), 180);
    EXPECT_EQ(shortestAngularDelta(0, -180), -180);
    EXPECT_EQ(shortestAngularDelta(180, 0), -180);
}

TEST(DialTickCounter, AFullTurnTicksTwentyFourTimesHoweverItIsSplit) {
    for (const int moves : {120, 60, 24, 12}) {
        DialTickCounter counter;
        EXPECT_EQ(ticksOf(counter, moves, 360.0 / moves), 24) << moves << " moves";
    }
}

TEST(DialTickCounter, TwoTurnsInMovesOfThreeDegreesTickFortyEightTimes) {
    DialTickCounter counter;
    EXPECT_EQ(ticksOf(counter, 240, 3), 48);
    EXPECT_EQ(counter.rotation, 720) << "not wrapped to a turn";
}

TEST(DialTickCounter, GoingBackTicksTheSameDetentsAgain) {
    DialTickCounter counter;
    EXPECT_EQ(ticksOf(counter, 30, 6), 12);
    EXPECT_EQ(ticksOf(counter, 30, -6), 12);
    EXPECT_EQ(counter.detentIndex, 0);
}

TEST(DialTickCounter, AJumpOfTenTurnsTicksFourTimesAndNeverMakesUpForIt) {
    DialTickCounter counter;
    EXPECT_EQ(counter.advance(3600), 4);
    EXPECT_EQ(counter.detentIndex, 240);
    EXPECT_EQ(counter.advance(0), 0);
    EXPECT_EQ(counter.advance(1), 0);
}

TEST(DialTickCounter, DetentsBelowZeroAreRoundedDown) {
    DialTickCounter counter;
    EXPECT_EQ(counter.advance(-1), 1);
    EXPECT_EQ(counter.detentIndex, -1);
    EXPECT_EQ(counter.advance(-13), 0);
    EXPECT_EQ(counter.advance(-2), 1);
}

TEST(DialTickCounter, ResynchronisingTakesTheDetentWithoutATick) {
    DialTickCounter counter;
    counter.rotation = 100;
    counter.resync();
    EXPECT_EQ(counter.detentIndex, 6);
    EXPECT_EQ(counter.advance(0), 0);
}

using DialTickCounterDeathTest = testing::Test;

TEST(DialTickCounterDeathTest, ARotationThatNoDetentCanHoldAborts) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    for (const double bad :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(), 1e30})
        EXPECT_DEATH(
            {
                DialTickCounter counter;
                counter.advance(bad);
            },
            "");
    EXPECT_DEATH(
        {
            DialTickCounter counter;
            counter.advance(-1e20);
            counter.advance(2.3e20);
        },
        "")
        << "the way between two detents is too long";
}

} // namespace
} // namespace morvel
