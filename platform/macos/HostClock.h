// The host clock, which the system stamps its events with. It stands still while the machine
// sleeps.
#pragma once

#include "platform/Clock.h"

#include <cstdint>

namespace morvel {

class HostClock : public Clock {
public:
    HostClock();

    double now() const override;
    std::uint64_t hostNanos() const override;

private:
    // A tick is numerator_ / denominator_ nanoseconds.
    std::uint32_t numerator_ = 1;
    std::uint32_t denominator_ = 1;
};

} // namespace morvel
