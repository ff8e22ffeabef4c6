// SIGTERM, SIGINT and SIGHUP as an event of the main run loop.
#pragma once

#include <QSocketNotifier>
#include <functional>
#include <memory>

namespace morvel {

// While it lives the signals end nothing by themselves. Main thread.
class TerminationSignals {
public:
    // Before any other thread exists, so that all of them leave the signals to this.
    static void block();

    // `terminate` is called on the main thread for each signal that arrives.
    explicit TerminationSignals(std::function<void()> terminate);
    ~TerminationSignals();
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;

private:
    int descriptor_;
    std::unique_ptr<QSocketNotifier> notifier_;
    std::function<void()> terminate_;
};

} // namespace morvel
