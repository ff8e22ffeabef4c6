// How late key events arrive and how long their handling takes, over the whole run. Main thread.
#pragma once

#include "platform/Log.h"

#include <string>
#include <vector>

namespace morvel {

class LatencyTrace {
public:
    explicit LatencyTrace(Log& log)
        : log_(log) {}

    // One played event, in milliseconds; a delivery that is not positive has no usable timestamp
    // and counts under dispatch only. Every 20th event logs a report over all events so far.
    void record(double deliveryMs, double dispatchMs);

private:
    Log& log_;
    std::vector<double> deliverySamples_;
    std::vector<double> latencySamples_;
};

// "median %.3f, mean %.3f, max %.3f" of `samples`; for an even count the median is the upper
// middle. "n/a (no timestamps)" when there are none.
std::string latencyStatistics(std::vector<double> samples);

} // namespace morvel
