#include "fidget/views/FidgetDrawer.h"
#include "fidget/views/SpringValue.h"
#include "tests/support/MainLoop.h"
#include "views/Views.h"

#include <gtest/gtest.h>

#include <QQmlComponent>
#include <QQmlEngine>
#include <algorithm>
#include <memory>
#include <vector>

namespace morvel {
namespace {

class SpringValueTest : public testing::Test {
protected:
    SpringValueTest() {
        FidgetDrawer::registerViews();
        QQmlComponent component(&engine);
        component.setData("import Morvel.Fidget\n"
                          "SpringValue { target: 3; response: 0.2; dampingFraction: 0.5 }",
                          QUrl());
        object.reset(component.create());
        value = qobject_cast<SpringValue*>(object.get());
    }

    QQmlEngine engine;
    std::unique_ptr<QObject> object;
    SpringValue* value = nullptr;
};

TEST_F(SpringValueTest, BeginsAtItsFirstTargetAtRest) {
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(value->value(), 3);
    EXPECT_FALSE(value->isMoving());
}

TEST_F(SpringValueTest, OvershootsANewTargetSettlesOnItAndStopsAskingForFrames) {
    std::vector<qreal> path;
    QObject::connect(value, &SpringValue::valueChanged, [&] { path.push_back(value->value()); });
    value->setTarget(4);
    EXPECT_TRUE(value->isMoving());
    EXPECT_EQ(value->value(), 3);
    ASSERT_TRUE(test::runUntil([&] { return !value->isMoving(); }));
    EXPECT_EQ(value->value(), 4);
    EXPECT_GT(std::ranges::max(path), 4.02);
    const std::size_t steps = path.size();
    test::runUntil([] { return false; }, std::chrono::milliseconds(60));
    EXPECT_EQ(path.size(), steps);
}

TEST_F(SpringValueTest, MovesAgainAfterItHasSettled) {
    for (const double target : {4.0, 3.0, 5.0}) {
        value->setTarget(target);
        ASSERT_TRUE(test::runUntil([&] { return !value->isMoving(); }));
        EXPECT_EQ(value->value(), target);
    }
}

} // namespace
} // namespace morvel
