// Whether a Caps Lock key really locks. A desktop may have given it another meaning that it tells
// to nobody; then the keyboards' light stays as it is when the key is pressed.
//
// Main thread.
#pragma once

#include "platform/Scheduler.h"

#include <functional>
#include <memory>

namespace morvel {

class CapsLockWatch {
public:
    // How long the session takes at most to put the light on or off, in seconds.
    static constexpr double longestAnswer = 0.2;
    // And after that it may still be an answer, of a session that has much else to do.
    static constexpr double longestDelay = 1;

    // `unanswered` is called when the light has not changed that long after it should have. The
    // scheduler must outlive the watch.
    CapsLockWatch(Scheduler& scheduler, std::function<void()> unanswered);

    // The key moves. It locks when it goes down, and unlocks when it comes up again.
    void pressed(bool locked);
    void released();
    // The light has changed. Answers whether the key was what it answers to, if only late.
    bool changed();
    // Keys were lost; nothing is waited for any more.
    void forget();

private:
    void await();
    void late();

    Scheduler& scheduler_;
    const std::function<void()> unanswered_;
    bool waiting_ = false;
    std::unique_ptr<Timer> timer_;
};

} // namespace morvel
