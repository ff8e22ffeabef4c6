#include "tests/fidget/views/DrawerFixture.h"

#include <QKeyEvent>

namespace morvel {
namespace {

using test::Categories;

class DrawerKeyboardTest : public test::DrawerTest {
protected:
    void SetUp() override {
        DrawerTest::SetUp();
        ASSERT_TRUE(test::runUntil([this] { return view.isActive(); }));
    }
    void key(Qt::Key which) { QTest::keyClick(&view, which); }
    void repeat(Qt::Key which) {
        QKeyEvent up(QEvent::KeyRelease, which, Qt::NoModifier, QString(), true);
        QKeyEvent down(QEvent::KeyPress, which, Qt::NoModifier, QString(), true);
        QCoreApplication::sendEvent(&view, &up);
        QCoreApplication::sendEvent(&view, &down);
    }
    QString focused() {
        QQuickItem* item = view.activeFocusItem();
        return item == nullptr ? QString() : accessible(*item, QAccessible::Name);
    }
    void focus(const QString& name) {
        for (int i = 0; i < 6 && focused() != name; ++i)
            key(Qt::Key_Tab);
        ASSERT_EQ(focused(), name);
    }
};

TEST_F(DrawerKeyboardTest, TabReachesEveryToy) {
    click(bubble(0));
    QStringList order;
    for (int i = 0; i < 5; ++i) {
        key(Qt::Key_Tab);
        order << focused();
    }
    EXPECT_EQ(order,
              QStringList({"Fidget switch", "Fidget dial", "Pop", "Reset", "Clicky button"}));
    key(Qt::Key_Tab);
    EXPECT_EQ(focused(), "Fidget switch");
    key(Qt::Key_Backtab);
    EXPECT_EQ(focused(), "Clicky button");
}

TEST_F(DrawerKeyboardTest, ARingIsSeenAroundWhatHasTheKeyboardAndNowhereElse) {
    const auto rings = [this] {
        std::vector<QQuickItem*> seen;
        std::ranges::copy_if(items(), std::back_inserter(seen), [](QQuickItem* item) {
            return item->property("shown").toBool() && item->isVisible();
        });
        return seen;
    };
    EXPECT_TRUE(rings().empty());
    focus("Fidget dial");
    ASSERT_EQ(rings().size(), 1U);
    EXPECT_EQ(rings()[0]->parentItem(), &toy("Fidget dial"));
    focus("Pop");
    key(Qt::Key_Right);
    ASSERT_EQ(rings().size(), 1U);
    EXPECT_EQ(rings()[0]->parentItem(), &bubble(1));
}

TEST_F(DrawerKeyboardTest, SpaceAndReturnFlipTheSwitch) {
    focus("Fidget switch");
    key(Qt::Key_Space);
    key(Qt::Key_Return);
    repeat(Qt::Key_Return);
    EXPECT_EQ(played(), (Categories{SoundCategory::toggleOn, SoundCategory::toggleOff}));
}

TEST_F(DrawerKeyboardTest, ArrowsTurnTheDialByADetentEach) {
    focus("Fidget dial");
    key(Qt::Key_Right);
    key(Qt::Key_Up);
    key(Qt::Key_Left);
    EXPECT_EQ(called("dial").property("dial").value<SpinDialModel*>()->rotation(), 15);
    EXPECT_EQ(played(), Categories(3, SoundCategory::dialTick));
}

TEST_F(DrawerKeyboardTest, TheButtonIsDownAsLongAsTheKeyIsHeld) {
    focus("Clicky button");
    QTest::keyPress(&view, Qt::Key_Space);
    for (int i = 0; i < 10; ++i)
        repeat(Qt::Key_Space);
    EXPECT_EQ(played(), Categories{SoundCategory::buttonDown});
    QTest::keyRelease(&view, Qt::Key_Space);
    EXPECT_EQ(played(), Categories{SoundCategory::buttonUp});
}

TEST_F(DrawerKeyboardTest, AButtonThatLosesTheKeyboardComesUp) {
    focus("Clicky button");
    QTest::keyPress(&view, Qt::Key_Space);
    key(Qt::Key_Tab);
    EXPECT_EQ(played(), (Categories{SoundCategory::buttonDown, SoundCategory::buttonUp}));
}

TEST_F(DrawerKeyboardTest, ArrowsWalkTheBubblesAndSpacePopsThem) {
    focus("Pop");
    key(Qt::Key_Left);
    key(Qt::Key_Up);
    key(Qt::Key_Space);
    for (int i = 0; i < 6; ++i)
        key(Qt::Key_Right);
    key(Qt::Key_Down);
    key(Qt::Key_Return);
    EXPECT_EQ(played(), Categories(2, SoundCategory::pop));
    EXPECT_EQ(accessible(bubble(0), QAccessible::Name), "Popped bubble");
    EXPECT_EQ(accessible(bubble(9), QAccessible::Name), "Popped bubble");
}

TEST_F(DrawerKeyboardTest, SpaceOnResetRefillsTheGridAndLeavesTheKeyboardSomewhere) {
    click(bubble(0));
    focus("Reset");
    key(Qt::Key_Space);
    EXPECT_EQ(played(), (Categories{SoundCategory::pop, SoundCategory::popReset}));
    key(Qt::Key_Tab);
    EXPECT_FALSE(focused().isEmpty());
}

} // namespace
} // namespace morvel
