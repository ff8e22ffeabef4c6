#include "platform/linux/CapsLockWatch.h"

#include <utility>

namespace morvel {

CapsLockWatch::CapsLockWatch(Scheduler& scheduler, std::function<void()> unanswered)
    : scheduler_(scheduler)
    , unanswered_(std::move(unanswered)) {}

void CapsLockWatch::pressed(bool locked) {
    waiting_ = true;
    timer_.reset();
    if (!locked)
        await();
}

void CapsLockWatch::released() {
    if (waiting_ && !timer_)
        await();
}

void CapsLockWatch::await() {
    timer_ = scheduler_.after(longestAnswer, [this] { late(); });
}

void CapsLockWatch::late() {
    timer_ = scheduler_.after(longestDelay, [this] { forget(); });
    unanswered_();
}

bool CapsLockWatch::changed() {
    timer_.reset();
    return std::exchange(waiting_, false);
}

void CapsLockWatch::forget() {
    timer_.reset();
    waiting_ = false;
}

} // namespace morvel
