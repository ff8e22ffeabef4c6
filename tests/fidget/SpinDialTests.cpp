#include "fidget/SpinDial.h"
#include "tests/fidget/FidgetFixture.h"

#include <cmath>
#include <limits>
#include <numbers>

namespace morvel {
namespace {

using test::Categories;

class SpinDialTest : public test::FidgetTest {
protected:
    static constexpr SpinDial::Point centre{46, 46};

    static SpinDial::Point at(double degrees, double radius = 40) {
        const double angle = degrees * std::numbers::pi / 180;
        return {centre.x + radius * std::cos(angle), centre.y + radius * std::sin(angle)};
    }
    void dragTo(double degrees, double radius = 40) {
        now += 1.0 / 60;
        dial.dragChanged(at(degrees, radius), centre, now);
    }
    Categories ticks(std::size_t count) { return Categories(count, SoundCategory::dialTick); }

    double now = 5000;
    SpinDial dial{settings, audio};
};

TEST_F(SpinDialTest, ThePressIsSilent) {
    dragTo(0);
    EXPECT_TRUE(dial.isDragging());
    EXPECT_TRUE(theme->asked.empty());
    EXPECT_FALSE(audio.loopCategory());
    EXPECT_EQ(dial.rotation(), 0);
}

TEST_F(SpinDialTest, TurnsWithThePointerAndTicksAtEveryDetent) {
    dragTo(-100);
    for (int angle = -99; angle <= -50; ++angle)
        dragTo(angle);
    EXPECT_NEAR(dial.rotation(), 50, 1e-9);
    EXPECT_EQ(played(), ticks(3));
}

TEST_F(SpinDialTest, FollowsThePointerAcrossTheSeamOfTheAngle) {
    dragTo(170);
    dragTo(-170);
    EXPECT_NEAR(dial.rotation(), 20, 1e-9);
    dragTo(170);
    EXPECT_NEAR(dial.rotation(), 0, 1e-9);
}

TEST_F(SpinDialTest, TheDistanceFromTheCentreDoesNotMatterToTheAngle) {
    dragTo(10);
    dragTo(40, 4000);
    EXPECT_NEAR(dial.rotation(), 30, 1e-9);
}

TEST_F(SpinDialTest, OneEventTicksFourTimesAtMost) {
    dragTo(0);
    dragTo(170);
    EXPECT_EQ(played(), ticks(4));
    EXPECT_EQ(dial.detentIndex(), 11);
    dragTo(170.5);
    EXPECT_EQ(played(), ticks(0)) << "what was left out is not made up for";
}

TEST_F(SpinDialTest, WhirsWhileItIsDraggedAsFastAsThePointerIs) {
    dragTo(0);
    VelocityDynamics dynamics;
    const auto first = dynamics.ingest(at(10).x - at(0).x, at(10).y - at(0).y, now + 1.0 / 60);
    dragTo(10);
    EXPECT_EQ(audio.loopCategory(), SoundCategory::dialLoop);
    EXPECT_FLOAT_EQ(audio.loopGain(), first.gain);
    EXPECT_FLOAT_EQ(audio.loopRate(), first.rate);
    const auto second = dynamics.ingest(at(20).x - at(10).x, at(20).y - at(10).y, now + 1.0 / 60);
    dragTo(20);
    EXPECT_FLOAT_EQ(audio.loopGain(), second.gain);
    EXPECT_FLOAT_EQ(audio.loopRate(), second.rate);
    EXPECT_GT(audio.loopGain(), first.gain);
}

TEST_F(SpinDialTest, TwoEventsOfTheSameInstantCountAsAMillisecondApart) {
    dial.dragChanged(at(0), centre, now);
    dial.dragChanged(at(10), centre, now);
    const float gain = audio.loopGain();
    dial.dragChanged(at(20), centre, now);
    EXPECT_GE(audio.loopGain(), gain);
    EXPECT_LE(audio.loopGain(), 1);
}

TEST_F(SpinDialTest, BothTheStartedAndTheRunningLoopFollowTheModulesVolume) {
    settings.setFidgetVolume(0.5F);
    dragTo(0);
    dragTo(0);
    EXPECT_FLOAT_EQ(audio.loopGain(), 0.05F);
    settings.setFidgetVolume(0.2F);
    dragTo(0);
    EXPECT_FLOAT_EQ(audio.loopGain(), 0.02F);
}

TEST_F(SpinDialTest, TicksDoNotDependOnTheSpeed) {
    settings.setFidgetVolume(0.3F);
    theme->jitterCents = 100;
    dragTo(1);
    dragTo(17);
    EXPECT_EQ(played(), ticks(1));
    EXPECT_FLOAT_EQ(firstVoice().volume, 0.3F);
    EXPECT_NE(firstVoice().rate, 1);
}

TEST_F(SpinDialTest, TheLoopFadesOverATenthOfASecondWhenTheDragEnds) {
    dragTo(0);
    dragTo(10);
    const float volume = audio.loopVolume();
    dial.dragEnded();
    EXPECT_FALSE(dial.isDragging());
    EXPECT_FALSE(audio.loopCategory());
    time.advance(0.05);
    EXPECT_GT(audio.loopVolume(), 0);
    EXPECT_LT(audio.loopVolume(), volume);
    time.advance(0.07);
    EXPECT_EQ(audio.loopVolume(), 0);
}

TEST_F(SpinDialTest, EndingTheDragLeavesALoopOfAnotherCategoryAlone) {
    dragTo(0);
    dragTo(10);
    audio.startLoop(SoundCategory::pop, 1, 1);
    dial.dragEnded();
    EXPECT_EQ(audio.loopCategory(), SoundCategory::pop);
}

TEST_F(SpinDialTest, TheNextDragGoesOnWhereTheKnobWasLeftAndItsPressNeverTicks) {
    dragTo(0);
    dragTo(50);
    dial.dragEnded();
    played();
    dragTo(200);
    EXPECT_NEAR(dial.rotation(), 50, 1e-9);
    EXPECT_EQ(played(), ticks(0));
    dragTo(211);
    EXPECT_NEAR(dial.rotation(), 61, 1e-9);
    EXPECT_EQ(played(), ticks(1));
}

TEST_F(SpinDialTest, TheSpeedOfOneDragIsForgottenInTheNext) {
    dragTo(0);
    for (int i = 1; i < 30; ++i)
        dragTo(40 * i);
    dial.dragEnded();
    dragTo(0);
    dragTo(0);
    EXPECT_FLOAT_EQ(audio.loopGain(), 0.1F);
    EXPECT_FLOAT_EQ(audio.loopRate(), 0.8F);
}

TEST_F(SpinDialTest, TurnsInSilenceWhileTheModuleIsOffAndTriesTheLoopAgainAtEveryEvent) {
    settings.setFidgetEnabled(false);
    dragTo(0);
    dragTo(40);
    EXPECT_NEAR(dial.rotation(), 40, 1e-9);
    EXPECT_TRUE(theme->asked.empty());
    EXPECT_FALSE(audio.loopCategory());
    settings.setFidgetEnabled(true);
    dragTo(41);
    EXPECT_EQ(audio.loopCategory(), SoundCategory::dialLoop);
}

TEST_F(SpinDialTest, SwitchingTheModuleOffWhileItWhirsStopsTheTicksAndNotTheLoop) {
    dragTo(0);
    dragTo(5);
    played();
    settings.setFidgetEnabled(false);
    dragTo(40);
    EXPECT_EQ(played(), ticks(0));
    EXPECT_EQ(audio.loopCategory(), SoundCategory::dialLoop);
}

TEST_F(SpinDialTest, APointerAtTheCentreIsHarmless) {
    dial.dragChanged(centre, centre, now);
    dial.dragChanged(centre, centre, now + 0.01);
    EXPECT_EQ(dial.rotation(), 0);
}

TEST_F(SpinDialTest, OneDetentAtATimeTicksOnceAndDoesNotWhir) {
    dial.turn(1);
    EXPECT_EQ(dial.rotation(), 15);
    dial.turn(-1);
    EXPECT_EQ(dial.rotation(), 0);
    EXPECT_EQ(played(), ticks(2));
    EXPECT_FALSE(audio.loopCategory());
}

TEST_F(SpinDialTest, ADialThatGoesAwayInADragTakesItsLoopAlong) {
    {
        SpinDial other(settings, audio);
        other.dragChanged(at(0), centre, now);
        other.dragChanged(at(10), centre, now + 0.01);
        EXPECT_TRUE(audio.loopCategory());
    }
    EXPECT_FALSE(audio.loopCategory());
}

} // namespace
} // namespace morvel
