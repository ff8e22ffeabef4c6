#include "fidget/DialTickCounter.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace morvel {

namespace {

std::int64_t detentOf(double rotation) {
    constexpr double limit = 9223372036854775808.0; // 2^63, the first that does not fit
    const double detent = std::floor(rotation / DialTickCounter::detentSpacing);
    if (!(detent >= -limit && detent < limit))
        std::abort();
    return static_cast<std::int64_t>(detent);
}

std::int64_t distance(std::int64_t a, std::int64_t b) {
    std::int64_t difference = 0;
    if (__builtin_sub_overflow(a, b, &difference) ||
        difference == std::numeric_limits<std::int64_t>::min())
        std::abort();
    return std::abs(difference);
}

} // namespace

int DialTickCounter::advance(double delta) {
    rotation += delta;
    const std::int64_t index = detentOf(rotation);
    const std::int64_t steps = distance(index, detentIndex);
    detentIndex = index;
    return static_cast<int>(std::min<std::int64_t>(steps, maximumTicks));
}

void DialTickCounter::resync() {
    detentIndex = detentOf(rotation);
}

double shortestAngularDelta(double previous, double angle) {
    double delta = angle - previous;
    while (delta > 180)
        delta -= 360;
    while (delta < -180)
        delta += 360;
    return delta;
}

} // namespace morvel
