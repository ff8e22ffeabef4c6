#include "app/windows/PopoverPlacement.h"

#include <gtest/gtest.h>

namespace morvel {
namespace {

constexpr QSize size(320, 400);
constexpr QRect screen(0, 0, 1280, 800);

TEST(PopoverPlacement, IsBelowItsAnchorAndCentredOnIt) {
    const auto placement =
        popoverPlacement(QRect(600, 0, 24, 24), size, QRect(0, 28, 1280, 772), screen);
    EXPECT_EQ(placement.side, Qt::BottomEdge);
    EXPECT_EQ(placement.position, QPoint(611 - 160, 28));
}

TEST(PopoverPlacement, IsAboveWhereThereIsNoRoomBelow) {
    const auto placement =
        popoverPlacement(QRect(600, 774, 24, 24), size, QRect(0, 0, 1280, 770), screen);
    EXPECT_EQ(placement.side, Qt::TopEdge);
    EXPECT_EQ(placement.position, QPoint(611 - 160, 770 - 400));
}

TEST(PopoverPlacement, StaysInsideTheScreenAtItsSides) {
    const QRect available(0, 28, 1280, 772);
    EXPECT_EQ(popoverPlacement(QRect(1250, 2, 24, 24), size, available, screen).position.x(),
              1280 - 320);
    EXPECT_EQ(popoverPlacement(QRect(2, 2, 24, 24), size, available, screen).position.x(), 0);
}

TEST(PopoverPlacement, IsBesideAPanelAtTheLeftOrRight) {
    const auto left =
        popoverPlacement(QRect(4, 700, 24, 24), size, QRect(32, 0, 1248, 800), screen);
    EXPECT_EQ(left.side, Qt::RightEdge);
    EXPECT_EQ(left.position, QPoint(32, 400));
    const auto right =
        popoverPlacement(QRect(1252, 40, 24, 24), size, QRect(0, 0, 1248, 800), screen);
    EXPECT_EQ(right.side, Qt::LeftEdge);
    EXPECT_EQ(right.position, QPoint(1248 - 320, 0));
}

TEST(PopoverPlacement, WithoutAnAnchorItIsInTheCornerOfThePanel) {
    EXPECT_EQ(popoverPlacement(std::nullopt, size, QRect(0, 28, 1280, 772), screen).position,
              QPoint(960, 28));
    EXPECT_EQ(popoverPlacement(std::nullopt, size, QRect(0, 0, 1280, 770), screen).position,
              QPoint(960, 370));
    EXPECT_EQ(popoverPlacement(std::nullopt, size, screen, screen).position, QPoint(960, 5));
}

TEST(PopoverPlacement, FollowsTheScreenThatTheAnchorIsOn) {
    const QRect second(1280, 0, 1024, 768);
    const auto placement = popoverPlacement(QRect(2280, 2, 20, 20), size, second, second);
    EXPECT_EQ(placement.position, QPoint(2304 - 320, 26));
}

TEST(PopoverPlacement, OneTooLargeForTheScreenKeepsItsTopLeftCornerOnIt) {
    const QRect small(0, 0, 200, 300);
    EXPECT_EQ(popoverPlacement(QRect(100, 0, 10, 10), size, small, small).position, QPoint(0, 0));
}

} // namespace
} // namespace morvel
