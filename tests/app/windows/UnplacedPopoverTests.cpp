// The popover of a window system that does not let windows be placed.

#include "app/windows/QuickPopover.h"
#include "tests/support/MainLoop.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QKeyEvent>
#include <chrono>
#include <functional>
#include <utility>

namespace morvel {
namespace {

// Does something once, just before a window hears that it loses the keyboard.
class BeforeTheLoss : public QObject {
public:
    BeforeTheLoss(QWindow& window, std::function<void()> then)
        : then_(std::move(then)) {
        window.installEventFilter(this);
    }
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::FocusAboutToChange && then_)
            std::exchange(then_, {})();
        return false;
    }

private:
    std::function<void()> then_;
};

class UnplacedPopoverTest : public testing::Test {
protected:
    UnplacedPopoverTest() {
        popover_.setDidClose([this] { ++closings_; });
        other_.resize(100, 100);
    }

    QWindow& window() { return *popover_.window(); }
    void open() {
        popover_.show(QRect(1256, 774, 24, 24));
        ASSERT_TRUE(popover_.isShown());
        ASSERT_TRUE(test::runUntil([this] { return window().isActive(); }));
    }
    void pointerEnters() {
        QEnterEvent enter(QPointF(5, 5), QPointF(5, 5), QPointF(5, 5));
        QCoreApplication::sendEvent(&window(), &enter);
    }
    void pointerLeaves() {
        QEvent leave(QEvent::Leave);
        QCoreApplication::sendEvent(&window(), &leave);
    }
    static void passStep() {
        test::runUntil([] { return false; },
                       std::chrono::milliseconds(2 * QuickPopover::steppingMs));
    }
    void turnBack() {
        bringToFront(window());
        ASSERT_TRUE(test::runUntil([this] { return window().isActive(); }));
    }
    void turnToOther() {
        bringToFront(other_);
        ASSERT_TRUE(test::runUntil([this] { return other_.isActive(); }));
    }
    // What `then` does follows on the loss at once, however busy the machine is.
    void turnToOtherAnd(const std::function<void()>& then) {
        bool lost = false;
        QObject::connect(
            &window(), &QWindow::activeChanged, &window(),
            [&] {
                lost = true;
                then();
            },
            Qt::SingleShotConnection);
        bringToFront(other_);
        ASSERT_TRUE(test::runUntil([&] { return lost; }));
    }

    TemporaryFolder folder_;
    QQmlEngine engine_;
    NoTransientWindows windows_;
    QuickPopover popover_{[this]() -> QQmlEngine& { return engine_; },
                          windows_,
                          "Fidget Drawer",
                          QSize(320, 400),
                          {QUrl::fromLocalFile(QString::fromStdString(
                               folder_.file("View.qml", "import QtQuick\nItem {}\n").string())),
                           {}}};
    QWindow other_;
    int closings_ = 0;
};

TEST_F(UnplacedPopoverTest, ItIsATitledWindowThatCannotBeStretched) {
    open();
    EXPECT_EQ(window().title(), "Fidget Drawer");
    EXPECT_EQ(window().size(), QSize(320, 400));
    EXPECT_EQ(window().minimumSize(), window().maximumSize());
    EXPECT_EQ(window().flags() & Qt::WindowType_Mask, Qt::Dialog);
    EXPECT_TRUE(window().flags() & Qt::WindowCloseButtonHint);
}

TEST_F(UnplacedPopoverTest, OnceThePointerWasInItItClosesWhenTheUserTurnsToSomethingElse) {
    open();
    pointerEnters();
    pointerLeaves();
    passStep();
    turnToOther();
    EXPECT_FALSE(popover_.isShown());
    EXPECT_EQ(closings_, 1);
}

TEST_F(UnplacedPopoverTest, ItClosesAlsoWhenTheUserTurnsAwayWithoutThePointer) {
    open();
    pointerEnters();
    turnToOther();
    EXPECT_TRUE(test::runUntil([this] { return !popover_.isShown(); }));
    EXPECT_EQ(closings_, 1);
}

TEST_F(UnplacedPopoverTest, ItStaysWhereThePointerTakesTheKeyboardAlongWhicheverIsToldFirst) {
    open();
    turnToOther();
    turnBack();
    pointerEnters();
    {
        const BeforeTheLoss leave(window(), [this] { pointerLeaves(); });
        turnToOther();
    }
    passStep();
    EXPECT_TRUE(popover_.isShown());

    turnBack();
    pointerEnters();
    turnToOtherAnd([this] { pointerLeaves(); });
    passStep();
    EXPECT_TRUE(popover_.isShown());
    EXPECT_EQ(closings_, 0);
}

TEST_F(UnplacedPopoverTest, ItStaysWhenTheUserIsBackAtOnce) {
    open();
    pointerEnters();
    turnToOtherAnd([this] { bringToFront(window()); });
    ASSERT_TRUE(test::runUntil([this] { return window().isActive(); }));
    passStep();
    EXPECT_TRUE(popover_.isShown());
}

TEST_F(UnplacedPopoverTest, OnceAKeyWasTypedInItItClosesWhenTheUserTurnsToSomethingElse) {
    open();
    QKeyEvent press(QEvent::KeyPress, Qt::Key_Tab, Qt::NoModifier);
    QCoreApplication::sendEvent(&window(), &press);
    turnToOther();
    EXPECT_FALSE(popover_.isShown());
}

TEST_F(UnplacedPopoverTest, OnThePointersWayToItItStays) {
    open();
    turnToOther();
    EXPECT_TRUE(popover_.isShown());
    // Also at its second opening.
    pointerEnters();
    popover_.close();
    open();
    turnToOther();
    EXPECT_TRUE(popover_.isShown());
}

TEST_F(UnplacedPopoverTest, ShownAgainItComesToTheFront) {
    open();
    turnToOther();
    popover_.show(std::nullopt);
    EXPECT_TRUE(test::runUntil([this] { return window().isActive(); }));
}

TEST_F(UnplacedPopoverTest, AskedForAsAWindowItStaysUntilItIsClosed) {
    popover_.showAsWindow();
    ASSERT_TRUE(test::runUntil([this] { return window().isActive(); }));
    pointerEnters();
    turnToOther();
    EXPECT_TRUE(popover_.isShown());
    QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    QCoreApplication::sendEvent(&window(), &escape);
    EXPECT_FALSE(popover_.isShown());
    EXPECT_EQ(closings_, 1);
}

} // namespace
} // namespace morvel
