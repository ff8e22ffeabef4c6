// Virtual time: a clock and a main run loop that move only when a test says so.
#pragma once

#include "platform/Clock.h"
#include "platform/Scheduler.h"

#include <atomic>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

namespace morvel {

class VirtualTime : public Clock, public Scheduler {
public:
    double now() const override { return now_; }
    std::uint64_t hostNanos() const override { return static_cast<std::uint64_t>(now_ * 1e9); }

    void async(std::function<void()> work) override;
    std::unique_ptr<Timer> repeating(double seconds, std::function<void()> work) override;
    std::unique_ptr<Timer> after(double seconds, std::function<void()> work) override;

    // Runs what async() has queued, and what that queues in turn.
    void runPending();

    // Runs what is pending, then moves time forward, firing each timer at its own instant.
    void advance(double seconds);

    // Timers that are still to fire.
    std::size_t activeTimerCount() const;

private:
    struct Entry {
        double due;
        double interval; // 0: fires once
        std::function<void()> work;
        bool cancelled = false;
    };
    class Handle;

    std::unique_ptr<Timer> add(double seconds, double interval, std::function<void()> work);

    // Far from 0, as real clocks are: a time of 0 must not pass for "now".
    std::atomic<double> now_ = 1000.0;
    mutable std::mutex mutex_;
    std::deque<std::function<void()>> queue_;
    std::vector<std::shared_ptr<Entry>> timers_;
};

} // namespace morvel
