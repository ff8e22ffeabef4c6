#include "platform/simulated/VirtualTime.h"

#include <gtest/gtest.h>

namespace morvel {
namespace {

TEST(VirtualTime, FiresTimersInOrderAtTheirOwnInstants) {
    VirtualTime time;
    const double start = time.now();
    std::vector<std::pair<char, double>> fired;
    const auto repeating =
        time.repeating(2.0, [&] { fired.emplace_back('r', time.now() - start); });
    const auto once = time.after(3.0, [&] { fired.emplace_back('o', time.now() - start); });
    time.advance(5.0);
    EXPECT_EQ(fired, (std::vector<std::pair<char, double>>{{'r', 2.0}, {'o', 3.0}, {'r', 4.0}}));
    EXPECT_EQ(time.activeTimerCount(), 1u);
}

TEST(VirtualTime, ADestroyedTimerDoesNotFire) {
    VirtualTime time;
    int fired = 0;
    auto timer = time.repeating(1.0, [&] { ++fired; });
    time.advance(1.5);
    timer.reset();
    time.advance(5.0);
    EXPECT_EQ(fired, 1);
    EXPECT_EQ(time.activeTimerCount(), 0u);
}

TEST(VirtualTime, RunsQueuedWorkInOrderAndWhatItQueues) {
    VirtualTime time;
    std::vector<int> order;
    time.async([&] {
        order.push_back(1);
        time.async([&] { order.push_back(3); });
    });
    time.async([&] { order.push_back(2); });
    EXPECT_TRUE(order.empty());
    time.runPending();
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

} // namespace
} // namespace morvel
