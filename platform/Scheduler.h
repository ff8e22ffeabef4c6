// Work for the main run loop. Adapters: platform/qt (the application's event loop),
// platform/simulated (runs when a test advances virtual time).
#pragma once

#include <functional>
#include <memory>

namespace morvel {

// Destroying a timer cancels it: once the destructor has returned its function is not called again.
// Create and destroy on the main thread; the function runs there.
class Timer {
public:
    virtual ~Timer() = default;
};

class Scheduler {
public:
    virtual ~Scheduler() = default;

    // Runs `work` on the main thread in a later turn of the main run loop, in the order of the
    // calls. Any thread but the audio thread.
    virtual void async(std::function<void()> work) = 0;

    // Calls `work` every `seconds` (> 0), first after `seconds`, also while a menu or a drag is
    // tracking. Main thread.
    [[nodiscard]] virtual std::unique_ptr<Timer> repeating(double seconds,
                                                           std::function<void()> work) = 0;

    // Calls `work` once after `seconds` (>= 0). Main thread.
    [[nodiscard]] virtual std::unique_ptr<Timer> after(double seconds,
                                                       std::function<void()> work) = 0;
};

} // namespace morvel
