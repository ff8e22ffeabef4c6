// The two clocks the system uses. Adapters: platform/linux, platform/macos,
// platform/simulated (virtual time).
#pragma once

#include <cstdint>

namespace morvel {

class Clock {
public:
    virtual ~Clock() = default;

    // Seconds on a steady absolute time line of unspecified origin, for voice bookkeeping, fades
    // and simulations. Any thread; never fails and never blocks.
    virtual double now() const = 0;

    // The host clock in nanoseconds, the time line of event timestamps. Any thread.
    virtual std::uint64_t hostNanos() const = 0;
};

} // namespace morvel
