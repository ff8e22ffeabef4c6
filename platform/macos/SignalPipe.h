// SIGTERM, SIGINT and SIGHUP as a readable descriptor.
#pragma once

#include "platform/output/WakePipe.h"

namespace morvel {

// While it lives the signals end nothing by themselves; those that the parent wants ignored stay
// so. One at a time. Main thread.
class SignalPipe {
public:
    SignalPipe();
    ~SignalPipe();
    SignalPipe(const SignalPipe&) = delete;
    SignalPipe& operator=(const SignalPipe&) = delete;

    // Readable once a signal has arrived, until clear().
    int descriptor() const { return pipe_.descriptor(); }
    void clear() const { pipe_.clear(); }

private:
    WakePipe pipe_;
};

} // namespace morvel
