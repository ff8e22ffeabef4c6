#include "selftest/FidgetSelfTest.h"
#include "tests/fidget/FidgetFixture.h"
#include "tests/selftest/TimedRun.h"

#include <limits>

namespace morvel {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;

TEST(FidgetSelfTestSwitch, OnlyTheValueOneEnablesIt) {
    for (const char* value : {"true", "yes", "0", "", "11", " 1"})
        EXPECT_FALSE(
            FidgetSelfTest::isEnabled(test::environmentOf({{"MORVEL_FIDGET_SELFTEST", value}})))
            << value;
    EXPECT_FALSE(FidgetSelfTest::isEnabled(test::environmentOf({})));
    EXPECT_TRUE(FidgetSelfTest::isEnabled(test::environmentOf({{"MORVEL_FIDGET_SELFTEST", "1"}})));
}

TEST(FidgetSelfTestSeam, AWrongWayIsCalledWrong) {
    const FidgetSelfTest::SeamCase seam{179, -179, 2};
    EXPECT_EQ(FidgetSelfTest::describe(seam, 2),
              "    179.0° ->  -179.0°  delta     2.0°  expected     2.0°  ok");
    EXPECT_EQ(FidgetSelfTest::describe(seam, -358),
              "    179.0° ->  -179.0°  delta  -358.0°  expected     2.0°  WRONG");
    EXPECT_THAT(FidgetSelfTest::describe(seam, 2.0009), EndsWith("  ok"));
    EXPECT_THAT(FidgetSelfTest::describe(seam, 2.0011), EndsWith("  WRONG"));
    EXPECT_THAT(FidgetSelfTest::describe(seam, std::numeric_limits<double>::quiet_NaN()),
                EndsWith("  WRONG"));
}

class FidgetSelfTestTest : public test::FidgetTest {
protected:
    test::TimedLog timed{time};
    test::TimedLines ended{time};
    FidgetSelfTest selfTest{{time, timed, audio, settings, [this] { ended.add("terminate"); }}};
};

TEST_F(FidgetSelfTestTest, TheLogTellsEachCheckAtItsTime) {
    selfTest.run();
    time.advance(5);
    EXPECT_THAT(
        timed.lines(),
        ElementsAre(
            "0.000 [Morvel] FDTEST 1: shortest angular delta across the ±180° seam",
            "0.000 [Morvel] FDTEST      10.0° ->    20.0°  delta    10.0°  expected    10.0°  ok",
            "0.000 [Morvel] FDTEST      20.0° ->    10.0°  delta   -10.0°  expected   -10.0°  ok",
            "0.000 [Morvel] FDTEST     179.0° ->  -179.0°  delta     2.0°  expected     2.0°  ok",
            "0.000 [Morvel] FDTEST    -179.0° ->   179.0°  delta    -2.0°  expected    -2.0°  ok",
            "0.000 [Morvel] FDTEST       0.0° ->   180.0°  delta   180.0°  expected   180.0°  ok",
            "0.000 [Morvel] FDTEST     350.0° ->    10.0°  delta    20.0°  expected    20.0°  ok",
            "0.000 [Morvel] FDTEST 2: ticks scale with rotation, not with event count",
            "0.000 [Morvel] FDTEST   360° over 120 events -> 24 ticks (expect 24)",
            "0.000 [Morvel] FDTEST   360° over  60 events -> 24 ticks (expect 24)",
            "0.000 [Morvel] FDTEST   360° over  24 events -> 24 ticks (expect 24)",
            "0.000 [Morvel] FDTEST   360° over  12 events -> 24 ticks (expect 24)",
            "0.000 [Morvel] FDTEST   720° over 240 events -> 48 ticks (expect 48)",
            "0.000 [Morvel] FDTEST   +180° then -180° -> 12 then 12 ticks (expect 12 and 12)",
            "0.000 [Morvel] FDTEST   single 3600° jump -> 4 ticks (clamped at 4)",
            "0.000 [Morvel] FDTEST 3: toy loop teardown, and the category guard",
            "0.000 [Morvel] FDTEST   after startLoop(dialLoop): looping=fidget.dialLoop",
            "0.000 [Morvel] FDTEST   after stopLoop(pop): looping=fidget.dialLoop (dial must "
            "survive)",
            "0.000 [Morvel] FDTEST   after stopLoop(dialLoop): looping=none (must be none)",
            "0.500 [Morvel] FDTEST complete"));
    EXPECT_THAT(ended.lines(), ElementsAre("0.500 terminate"));
}

TEST_F(FidgetSelfTestTest, WithTheModuleOffNoLoopIsThereRightAfterItsStart) {
    settings.setFidgetEnabled(false);
    selfTest.run();
    EXPECT_THAT(timed.lines(),
                Contains("0.000 [Morvel] FDTEST   after startLoop(dialLoop): looping=none"));
    time.advance(5);
    EXPECT_THAT(ended.lines(), ElementsAre("0.500 terminate"));
}

TEST_F(FidgetSelfTestTest, TheLoopIsStartedAtItsGainAndLeftFading) {
    settings.setFidgetVolume(0.5F);
    selfTest.run();
    EXPECT_EQ(audio.loopGain(), 0.25F);
    EXPECT_EQ(audio.loopRate(), 1);
    EXPECT_FALSE(audio.loopCategory());
    time.advance(0.2);
    EXPECT_EQ(audio.loopVolume(), 0);
}

} // namespace
} // namespace morvel
