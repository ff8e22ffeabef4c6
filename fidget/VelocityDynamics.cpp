#include "fidget/VelocityDynamics.h"

#include <algorithm>
#include <cmath>

namespace morvel {

namespace {

constexpr double defaultInterval = 1.0 / 60;
constexpr double minimumInterval = 1.0 / 240;
constexpr double maximumInterval = 1.0 / 15;
constexpr double smoothingFactor = 0.35;
constexpr double floorSpeed = 40;
constexpr double ceilingSpeed = 3000;
constexpr float minimumGain = 0.1F;
constexpr float maximumGain = 1.0F;
constexpr float minimumRate = 0.8F;
constexpr float maximumRate = 1.55F;

// Written so that what is not a number counts as the minimum.
double limitedInterval(double interval) {
    return interval > minimumInterval ? std::min(interval, maximumInterval) : minimumInterval;
}

float intensity(double speed) {
    if (!(speed > floorSpeed))
        return 0;
    static const double octaves = std::log2(ceilingSpeed / floorSpeed);
    const double share = std::log2(speed / floorSpeed) / octaves;
    return share > 0 ? static_cast<float>(std::min(share, 1.0)) : 0.0F;
}

} // namespace

VelocityDynamics::Reading VelocityDynamics::ingest(double deltaX, double deltaY, double timestamp) {
    const double interval =
        limitedInterval(timestamp - lastTimestamp.value_or(timestamp - defaultInterval));
    const double instantSpeed = std::sqrt(deltaX * deltaX + deltaY * deltaY) / interval;
    smoothedSpeed += (instantSpeed - smoothedSpeed) * smoothingFactor;
    lastTimestamp = timestamp;
    const float n = intensity(smoothedSpeed);
    return {instantSpeed, smoothedSpeed, minimumGain + n * (maximumGain - minimumGain),
            minimumRate + n * (maximumRate - minimumRate)};
}

} // namespace morvel
