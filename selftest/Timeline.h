// Steps on the main run loop, each at a fixed time. Main thread.
#pragma once

#include "platform/Scheduler.h"

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace morvel {

// The steps that have not come yet are cancelled with it.
class Timeline {
public:
    // `scheduler` must outlive the timeline.
    explicit Timeline(Scheduler& scheduler)
        : scheduler_(scheduler) {}

    // Calls `step` in `seconds` (>= 0) from now.
    void in(double seconds, std::function<void()> step) {
        timers_.push_back(scheduler_.after(seconds, std::move(step)));
    }

    // Calls `step` in a later turn of the main run loop, after what is queued by now.
    void next(std::function<void()> step) {
        scheduler_.async([step = std::move(step), alive = std::weak_ptr(alive_)] {
            if (!alive.expired())
                step();
        });
    }

private:
    Scheduler& scheduler_;
    std::vector<std::unique_ptr<Timer>> timers_;
    std::shared_ptr<int> alive_ = std::make_shared<int>();
};

} // namespace morvel
