#include "platform/simulated/VirtualTime.h"

#include <algorithm>
#include <utility>

namespace morvel {

class VirtualTime::Handle : public Timer {
public:
    explicit Handle(std::shared_ptr<Entry> entry)
        : entry_(std::move(entry)) {}
    ~Handle() override { entry_->cancelled = true; }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

private:
    std::shared_ptr<Entry> entry_;
};

void VirtualTime::async(std::function<void()> work) {
    const std::lock_guard lock(mutex_);
    queue_.push_back(std::move(work));
}

std::unique_ptr<Timer> VirtualTime::repeating(double seconds, std::function<void()> work) {
    return add(seconds, seconds, std::move(work));
}

std::unique_ptr<Timer> VirtualTime::after(double seconds, std::function<void()> work) {
    return add(seconds, 0, std::move(work));
}

std::unique_ptr<Timer> VirtualTime::add(double seconds, double interval,
                                        std::function<void()> work) {
    auto entry = std::make_shared<Entry>(Entry{now_ + seconds, interval, std::move(work)});
    timers_.push_back(entry);
    return std::make_unique<Handle>(std::move(entry));
}

void VirtualTime::runPending() {
    for (;;) {
        std::function<void()> work;
        {
            const std::lock_guard lock(mutex_);
            if (queue_.empty())
                return;
            work = std::move(queue_.front());
            queue_.pop_front();
        }
        work();
    }
}

void VirtualTime::advance(double seconds) {
    runPending();
    const double end = now_ + seconds;
    for (;;) {
        std::erase_if(timers_, [](const auto& entry) { return entry->cancelled; });
        const auto next = std::min_element(timers_.begin(), timers_.end(),
                                           [](auto& a, auto& b) { return a->due < b->due; });
        if (next == timers_.end() || (*next)->due > end)
            break;
        const std::shared_ptr<Entry> entry = *next;
        now_ = std::max(now_.load(), entry->due);
        if (entry->interval > 0)
            entry->due += entry->interval;
        else
            entry->cancelled = true;
        entry->work();
        runPending();
    }
    now_ = end;
}

std::size_t VirtualTime::activeTimerCount() const {
    return static_cast<std::size_t>(std::count_if(
        timers_.begin(), timers_.end(), [](const auto& entry) { return !entry->cancelled; }));
}

} // namespace morvel
