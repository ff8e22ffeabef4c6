#include "platform/macos/HostClock.h"

#include "platform/macos/Frameworks.h"

namespace morvel {

HostClock::HostClock() {
    mach_timebase_info_data_t ratio{};
    if (mach_timebase_info(&ratio) != 0 || ratio.numer == 0 || ratio.denom == 0)
        return;
    numerator_ = ratio.numer;
    denominator_ = ratio.denom;
}

double HostClock::now() const {
    return static_cast<double>(hostNanos()) * 1e-9;
}

// In two parts: the product of a machine's ticks in a month and the numerator is too large.
std::uint64_t HostClock::hostNanos() const {
    const std::uint64_t ticks = mach_absolute_time();
    return ticks / denominator_ * numerator_ + ticks % denominator_ * numerator_ / denominator_;
}

} // namespace morvel
