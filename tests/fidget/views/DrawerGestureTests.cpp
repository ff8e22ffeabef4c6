#include "tests/fidget/views/DrawerFixture.h"

#include <QPointingDevice>
#include <cmath>
#include <numbers>

namespace morvel {
namespace {

using test::Categories;

class DrawerGestureTest : public test::DrawerTest {
protected:
    void press(const QPoint& point) {
        QTest::mousePress(&view, Qt::LeftButton, Qt::NoModifier, point);
    }
    void move(const QPoint& point) { QTest::mouseMove(&view, point); }
    void release(const QPoint& point) {
        QTest::mouseRelease(&view, Qt::LeftButton, Qt::NoModifier, point);
    }
    QPoint onDial(double degrees, double radius = 40) {
        const double angle = degrees * std::numbers::pi / 180;
        return (frameOf(toy("Fidget dial")).center() +
                QPointF(std::cos(angle), std::sin(angle)) * radius)
            .toPoint();
    }
    double rotation() {
        return called("dial").property("dial").value<SpinDialModel*>()->rotation();
    }
};

TEST_F(DrawerGestureTest, AClickFlipsTheSwitchAndAQuickSecondOneFlipsItBack) {
    click(toy("Fidget switch"));
    click(toy("Fidget switch"));
    EXPECT_EQ(played(), (Categories{SoundCategory::toggleOn, SoundCategory::toggleOff}));
}

TEST_F(DrawerGestureTest, TheSwitchTakesClicksInItsCapsuleOnly) {
    const QRectF frame = frameOf(toy("Fidget switch"));
    const auto clickAt = [this](QPointF point) {
        QTest::mouseClick(&view, Qt::LeftButton, Qt::NoModifier, point.toPoint());
    };
    clickAt(frame.topLeft() + QPointF(2, 2));
    EXPECT_EQ(played(), Categories{});
    clickAt(QPointF(frame.left() + 3, frame.center().y()));
    EXPECT_EQ(played(), Categories{SoundCategory::toggleOn});
}

TEST_F(DrawerGestureTest, TheButtonSoundsAtThePressAndAtTheReleaseWhereverThatIs) {
    const QPoint centre = centreOf(toy("Clicky button"));
    press(centre);
    EXPECT_EQ(played(), Categories{SoundCategory::buttonDown});
    for (int i = 1; i < 30; ++i)
        move(centre - QPoint(3 * i, 0));
    EXPECT_EQ(played(), Categories{});
    release(QPoint(5, 5));
    EXPECT_EQ(played(), Categories{SoundCategory::buttonUp});
}

TEST_F(DrawerGestureTest, TheButtonTakesPressesInItsCircleOnly) {
    const QRectF frame = frameOf(toy("Clicky button"));
    QTest::mouseClick(&view, Qt::LeftButton, Qt::NoModifier,
                      (frame.topLeft() + QPointF(4, 4)).toPoint());
    EXPECT_EQ(played(), Categories{});
}

TEST_F(DrawerGestureTest, ABubblePopsOnceAndResetBringsItBack) {
    click(toy("Reset"));
    EXPECT_EQ(played(), Categories{});
    click(bubble(7));
    click(bubble(7));
    EXPECT_EQ(played(), Categories{SoundCategory::pop});
    click(toy("Reset"));
    EXPECT_EQ(played(), Categories{SoundCategory::popReset});
    EXPECT_EQ(named({"Bubble"}).size(), 20U);
    click(toy("Reset"));
    EXPECT_EQ(played(), Categories{});
}

TEST_F(DrawerGestureTest, ResetIsDisabledAndFaintWhileNothingIsPopped) {
    QQuickItem& reset = toy("Reset");
    EXPECT_FALSE(reset.isEnabled());
    EXPECT_NEAR(reset.opacity(), 0.35, 1e-9);
    click(bubble(0));
    EXPECT_TRUE(reset.isEnabled());
    EXPECT_TRUE(test::runUntil([&] { return reset.opacity() == 1; }));
}

TEST_F(DrawerGestureTest, AllTwentyBubblesArePoppedByTwentyClicks) {
    for (std::size_t i = 0; i < 20; ++i)
        click(bubble(i));
    EXPECT_EQ(played(), Categories(20, SoundCategory::pop));
    EXPECT_EQ(named({"Popped bubble"}).size(), 20U);
}

TEST_F(DrawerGestureTest, TheDialTurnsTicksAndWhirsWhileItIsDragged) {
    press(onDial(0));
    EXPECT_FALSE(audio.loopCategory());
    for (int angle = 2; angle <= 90; angle += 2)
        move(onDial(angle));
    EXPECT_NEAR(rotation(), 90, 1.5);
    const Categories ticks = played();
    EXPECT_NEAR(static_cast<double>(ticks.size()), 6, 1);
    EXPECT_EQ(ticks[0], SoundCategory::dialTick);
    EXPECT_EQ(audio.loopCategory(), SoundCategory::dialLoop);
    release(onDial(90));
    EXPECT_FALSE(audio.loopCategory());
}

TEST_F(DrawerGestureTest, ADragThatLeavesTheDialGoesOnTurningIt) {
    press(onDial(180));
    for (int angle = 180; angle >= 90; angle -= 2)
        move(onDial(angle, 130));
    EXPECT_NEAR(rotation(), -90, 1.5);
    release(onDial(90, 130));
    move(onDial(0));
    EXPECT_NEAR(rotation(), -90, 1.5);
}

TEST_F(DrawerGestureTest, TheDialTakesPressesInItsCircleOnly) {
    press(onDial(45, 60));
    move(onDial(90));
    EXPECT_EQ(rotation(), 0);
    release(onDial(90));
}

TEST_F(DrawerGestureTest, AWindowThatGoesAwayEndsEveryGestureAndTheNextOneWorks) {
    press(onDial(0));
    move(onDial(20));
    ASSERT_TRUE(audio.loopCategory());
    view.hide();
    EXPECT_FALSE(audio.loopCategory());
    release(onDial(20));
    show();
    const QPoint button = centreOf(toy("Clicky button"));
    played();
    press(button);
    view.hide();
    EXPECT_EQ(played(), (Categories{SoundCategory::buttonDown, SoundCategory::buttonUp}));
    release(button);
    show();
    press(button);
    release(button);
    EXPECT_EQ(played(), (Categories{SoundCategory::buttonDown, SoundCategory::buttonUp}));
    press(onDial(0));
    move(onDial(20));
    EXPECT_TRUE(audio.loopCategory());
    release(onDial(20));
}

TEST_F(DrawerGestureTest, TwoFingersUseTwoToysAtOnce) {
    const std::unique_ptr<QPointingDevice> screen(QTest::createTouchDevice());
    const QPoint button = centreOf(toy("Clicky button"));
    QTest::touchEvent(&view, screen.get()).press(1, onDial(0)).commit();
    QTest::touchEvent(&view, screen.get()).stationary(1).press(2, button).commit();
    for (int angle = 3; angle <= 60; angle += 3)
        QTest::touchEvent(&view, screen.get()).move(1, onDial(angle)).stationary(2).commit();
    // Movements of fingers are handed on once a frame.
    EXPECT_TRUE(test::runUntil([this] { return std::abs(rotation() - 60) < 2; }));
    QTest::touchEvent(&view, screen.get()).stationary(1).release(2, button).commit();
    EXPECT_TRUE(audio.loopCategory());
    QTest::touchEvent(&view, screen.get()).release(1, onDial(60)).commit();
    EXPECT_FALSE(audio.loopCategory());
    const Categories sounds = played();
    EXPECT_EQ(std::ranges::count(sounds, SoundCategory::buttonDown), 1);
    EXPECT_EQ(std::ranges::count(sounds, SoundCategory::buttonUp), 1);
}

TEST_F(DrawerGestureTest, ATapOfAFingerFlipsTheSwitchOnce) {
    const std::unique_ptr<QPointingDevice> screen(QTest::createTouchDevice());
    const QPoint point = centreOf(toy("Fidget switch"));
    QTest::touchEvent(&view, screen.get()).press(1, point).commit();
    QTest::touchEvent(&view, screen.get()).release(1, point).commit();
    EXPECT_EQ(played(), Categories{SoundCategory::toggleOn});
}

} // namespace
} // namespace morvel
