#include "bench/Pauses.h"

#include <gtest/gtest.h>

namespace morvel::bench {
namespace {

constexpr std::uint64_t ms = 1'000'000;
constexpr std::uint64_t usual = 3 * ms;
constexpr std::uint64_t stroke = 1000 * ms;

TEST(Pauses, OfSeveralProcessorsCountOnce) {
    const Pauses pauses({{1005 * ms, 1008 * ms}, {1000 * ms, 1006 * ms}, {1020 * ms, 1021 * ms}});
    EXPECT_EQ(pauses.within(0, 2000 * ms), 9 * ms);
    EXPECT_EQ(pauses.within(1007 * ms, 1020 * ms), 1 * ms);
    EXPECT_EQ(pauses.within(1008 * ms, 1020 * ms), 0U);
}

TEST(Pauses, ExplainASoundThatWasLateByAsMuch) {
    EXPECT_TRUE(
        Pauses({{1001 * ms, 1041 * ms}}).explainDelay(stroke, stroke + usual + 40 * ms, usual));
}

TEST(Pauses, DoNotExplainASoundThatWasLateByMore) {
    const Pauses shortOnes({{1001 * ms, 1002 * ms}, {1050 * ms, 1052 * ms}});
    EXPECT_FALSE(shortOnes.explainDelay(stroke, stroke + usual + 100 * ms, usual));
}

TEST(Pauses, DoNotExplainMoreThanAMillisecondBeyondTheirLength) {
    const Pauses five({{1001 * ms, 1006 * ms}});
    EXPECT_TRUE(five.explainDelay(stroke, stroke + usual + 6 * ms, usual));
    EXPECT_FALSE(five.explainDelay(stroke, stroke + usual + 6 * ms + 1, usual));
    EXPECT_FALSE(five.explainDelay(stroke, stroke + usual + ms, usual)) << "not late";
}

TEST(Pauses, DoNotExplainASoundThatWasThereLongBefore) {
    EXPECT_FALSE(
        Pauses({{1020 * ms, 1040 * ms}}).explainDelay(stroke, stroke + usual + 3 * ms, usual));
}

TEST(Pauses, LeaveASoundInThatWasNotLate) {
    EXPECT_FALSE(Pauses({{1001 * ms, 1003 * ms}}).explainDelay(stroke, stroke + usual, usual));
}

TEST(Pauses, ExplainALossOnlyByAHoleInTheSoundOrInTheOneBefore) {
    const std::uint64_t within[] = {stroke + 8 * ms};
    const std::uint64_t before[] = {stroke - 20 * ms};
    const std::uint64_t elsewhere[] = {stroke - 60 * ms, stroke + 60 * ms};
    EXPECT_TRUE(spoiltByHole(stroke, within));
    EXPECT_TRUE(spoiltByHole(stroke, before));
    EXPECT_FALSE(spoiltByHole(stroke, elsewhere));
    EXPECT_FALSE(spoiltByHole(stroke, {}));
}

TEST(Pauses, ExplainAHoleOnlyJustBeforeIt) {
    EXPECT_TRUE(Pauses({{997 * ms, 1000 * ms}}).explainHole(stroke));
    EXPECT_FALSE(Pauses({{960 * ms, 980 * ms}}).explainHole(stroke));
    EXPECT_FALSE(Pauses({{1005 * ms, 1020 * ms}}).explainHole(stroke));
    EXPECT_FALSE(Pauses({}).explainHole(stroke));
}

TEST(Pauses, ExplainAHoleBySeveralShortOnes) {
    const Pauses four({{stroke - 4'000'000, stroke - 3'700'000},
                       {stroke - 3'500'000, stroke - 3'200'000},
                       {stroke - 3'000'000, stroke - 2'800'000},
                       {stroke - 1'000'000, stroke - 800'000}});
    EXPECT_TRUE(four.explainHole(stroke));
    EXPECT_FALSE(four.explainHole(stroke + 7 * ms));
}

TEST(Pauses, TellHowMuchTheyExplainByChance) {
    // One of two milliseconds explains what comes from one before it to nine after it.
    const Pauses one({{500 * ms, 502 * ms}});
    EXPECT_DOUBLE_EQ(one.partExplainingHoles(0, 1000 * ms), 0.013);
    EXPECT_EQ(Pauses({}).partExplainingHoles(0, 1000 * ms), 0);
    EXPECT_EQ(Pauses({}).partExplainingHoles(0, 0), 0);
}

} // namespace
} // namespace morvel::bench
