// The speed of a gesture, smoothed, and what it makes of a looping sound. A plain value without
// allocation or locks; replace it with a fresh one to reset it.
#pragma once

#include <optional>

namespace morvel {

struct VelocityDynamics {
    struct Reading {
        double instantSpeed = 0;  // of this sample alone, points a second
        double smoothedSpeed = 0; // points a second
        float gain = 0;           // 0.1 to 1
        float rate = 0;           // 0.8 to 1.55
    };

    double smoothedSpeed = 0;            // points a second
    std::optional<double> lastTimestamp; // of the previous sample, seconds

    // Takes the pointer's movement since the previous sample, in points, and the time of this one,
    // in seconds of any steady clock. The interval is taken as 1/240 s at least and 1/15 s at most,
    // and as 1/60 s for the first sample. Gain and rate follow the logarithm of the smoothed speed:
    // every doubling between 40 and 3000 points a second is the same step.
    Reading ingest(double deltaX, double deltaY, double timestamp);
};

} // namespace morvel
