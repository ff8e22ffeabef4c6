#include "platform/linux/SystemClock.h"

#include <chrono>

namespace morvel {

double SystemClock::now() const {
    return static_cast<double>(hostNanos()) * 1e-9;
}

std::uint64_t SystemClock::hostNanos() const {
    const auto sinceOrigin = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(sinceOrigin).count());
}

} // namespace morvel
