// CLOCK_MONOTONIC, the clock that X11 and evdev stamp their events with.
#pragma once

#include "platform/Clock.h"

namespace morvel {

class SystemClock : public Clock {
public:
    double now() const override;
    std::uint64_t hostNanos() const override;
};

} // namespace morvel
