// The application's event loop as the main run loop. Needs a QCoreApplication; build and destroy on
// the main thread.
#pragma once

#include "platform/Scheduler.h"

#include <QObject>

namespace morvel {

class QtScheduler : public Scheduler {
public:
    void async(std::function<void()> work) override;
    std::unique_ptr<Timer> repeating(double seconds, std::function<void()> work) override;
    std::unique_ptr<Timer> after(double seconds, std::function<void()> work) override;

private:
    QObject context_; // what is still queued when it goes is dropped
};

} // namespace morvel
