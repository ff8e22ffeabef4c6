#include "fidget/views/SpringValue.h"
#include "tests/fidget/views/DrawerFixture.h"

#include <QGuiApplication>
#include <QImage>
#include <QPalette>

namespace morvel {
namespace {

class DrawerLayoutTest : public test::DrawerTest {
protected:
    // Counts the frames of a stretch of time in which nobody does anything.
    int framesWhile(std::chrono::milliseconds span) {
        const int before = frames;
        test::runUntil([] { return false; }, span);
        return frames - before;
    }
    bool anythingMoves() const {
        return std::ranges::any_of(items(), [](QQuickItem* item) {
            return std::ranges::any_of(item->findChildren<SpringValue*>(),
                                       [](SpringValue* value) { return value->isMoving(); });
        });
    }
};

TEST_F(DrawerLayoutTest, KeepsItsSizeWhateverTheToysNeed) {
    const auto size = [this] { return view.rootObject()->size().toSize(); };
    EXPECT_EQ(size(), QSize(320, 400));
    EXPECT_EQ(FidgetDrawer::size(), QSize(320, 400));
    called("pop").setProperty("bubbleSize", 80);
    called("dial").setProperty("diameter", 300);
    EXPECT_EQ(size(), QSize(320, 400));
    EXPECT_EQ(view.size(), QSize(320, 400));
}

TEST_F(DrawerLayoutTest, TheTilesStandInAGridWithEvenGaps) {
    const QRectF toggle = frameOf(called("switch"));
    const QRectF dial = frameOf(called("dial"));
    const QRectF pop = frameOf(called("pop"));
    const QRectF button = frameOf(called("button"));
    EXPECT_EQ(toggle.left(), 12);
    EXPECT_EQ(pop.left(), 12);
    EXPECT_EQ(dial.right(), 308);
    EXPECT_EQ(button.right(), 308);
    EXPECT_EQ(pop.bottom(), 388);
    EXPECT_EQ(button.bottom(), 388);
    EXPECT_EQ(toggle.top(), dial.top());
    EXPECT_EQ(toggle.right() + 10, dial.left());
    EXPECT_EQ(pop.right() + 10, button.left());
    EXPECT_EQ(toggle.bottom() + 10, pop.top());
    EXPECT_EQ(dial.bottom() + 10, button.top());
}

TEST_F(DrawerLayoutTest, TheGridIsSharedEquallyUnlessAToyNeedsMore) {
    for (const char* name : {"switch", "dial", "pop", "button"}) {
        QQuickItem& tile = called(name);
        EXPECT_GE(tile.width(), tile.implicitWidth()) << name;
        EXPECT_GE(tile.height(), tile.implicitHeight()) << name;
    }
    called("pop").setProperty("bubbleSize", 12);
    EXPECT_EQ(called("pop").size(), called("dial").size());
    EXPECT_EQ(called("switch").size(), called("button").size());
}

TEST_F(DrawerLayoutTest, EveryToyHasItsSizeAndStandsInTheMiddleOfItsTile) {
    const auto expect = [this](const char* tile, QQuickItem& toy, QSizeF size) {
        EXPECT_EQ(toy.size(), size) << tile;
        EXPECT_NEAR(frameOf(toy).center().x(), frameOf(called(tile)).center().x(), 0.5) << tile;
    };
    expect("switch", toy("Fidget switch"), {76, 40});
    expect("dial", toy("Fidget dial"), {92, 92});
    expect("button", toy("Clicky button"), {76, 76});
    const QRectF first = frameOf(bubble(0));
    const QRectF last = frameOf(bubble(19));
    EXPECT_EQ(first.size(), QSizeF(26, 26));
    EXPECT_EQ(last.topLeft() - first.topLeft(), QPointF(4 * 32, 3 * 32));
    EXPECT_NEAR(first.united(last).center().x(), frameOf(called("pop")).center().x(), 0.5);
}

TEST_F(DrawerLayoutTest, TheMutedLabelFollowsTheFidgetModulesSwitchAtOnce) {
    EXPECT_FALSE(called("muted").isVisible());
    settings.setFidgetEnabled(false);
    EXPECT_TRUE(called("muted").isVisible());
    settings.setFidgetEnabled(true);
    EXPECT_FALSE(called("muted").isVisible());
}

TEST_F(DrawerLayoutTest, MutingTheApplicationShowsNoMutedLabel) {
    settings.setMuted(true);
    EXPECT_FALSE(called("muted").isVisible());
}

TEST_F(DrawerLayoutTest, ADrawerAtRestDrawsNoFrame) {
    using namespace std::chrono_literals;
    framesWhile(100ms);
    EXPECT_EQ(framesWhile(300ms), 0);
    click(toy("Fidget switch"));
    click(bubble(3));
    EXPECT_TRUE(anythingMoves());
    ASSERT_TRUE(test::runUntil([this] { return !anythingMoves(); }));
    framesWhile(100ms);
    EXPECT_EQ(framesWhile(300ms), 0);
}

TEST_F(DrawerLayoutTest, TheDrawerFollowsTheDesktopsColours) {
    const auto accentSeen = [this](QColor accent) {
        const QImage image = view.grabWindow();
        const QPointF middle = QPointF(centreOf(toy("Fidget dial"))) * image.devicePixelRatio();
        const QColor seen = image.pixelColor(middle.toPoint());
        return std::abs(seen.hslHue() - accent.hslHue()) < 12;
    };
    const QPalette before = QGuiApplication::palette();
    for (const QColor& accent : {QColor(0x35, 0x84, 0xe4), QColor(0xe6, 0x61, 0x00)}) {
        QPalette palette = before;
        palette.setColor(QPalette::Highlight, accent);
        QGuiApplication::setPalette(palette);
        EXPECT_TRUE(test::runUntil([&] { return accentSeen(accent); }));
    }
    QGuiApplication::setPalette(before);
}

TEST_F(DrawerLayoutTest, AccessibilityToolsAreToldWhatEachToyIs) {
    EXPECT_EQ(interfaceOf(toy("Fidget dial")).role(), QAccessible::Dial);
    EXPECT_EQ(interfaceOf(toy("Clicky button")).role(), QAccessible::Button);
    QQuickItem& toggle = toy("Fidget switch");
    EXPECT_EQ(interfaceOf(toggle).role(), QAccessible::CheckBox);
    EXPECT_EQ(accessible(toggle, QAccessible::Description), "off");
    EXPECT_FALSE(interfaceOf(toggle).state().checked);
    click(toggle);
    EXPECT_EQ(accessible(toggle, QAccessible::Description), "on");
    EXPECT_TRUE(interfaceOf(toggle).state().checked);
    EXPECT_EQ(named({"Bubble"}).size(), 20U);
    click(bubble(4));
    EXPECT_EQ(accessible(bubble(4), QAccessible::Name), "Popped bubble");
    EXPECT_EQ(named({"Bubble"}).size(), 19U);
}

TEST_F(DrawerLayoutTest, AccessibilityToolsCanActOnTheToys) {
    const auto act = [](QQuickItem& item, const QString& action) {
        interfaceOf(item).actionInterface()->doAction(action);
    };
    act(toy("Fidget switch"), QAccessibleActionInterface::toggleAction());
    act(bubble(2), QAccessibleActionInterface::pressAction());
    act(toy("Reset"), QAccessibleActionInterface::pressAction());
    act(toy("Clicky button"), QAccessibleActionInterface::pressAction());
    act(toy("Fidget dial"), QAccessibleActionInterface::increaseAction());
    EXPECT_EQ(played(), (test::Categories{SoundCategory::toggleOn, SoundCategory::pop,
                                          SoundCategory::popReset, SoundCategory::buttonDown,
                                          SoundCategory::buttonUp, SoundCategory::dialTick}));
}

} // namespace
} // namespace morvel
