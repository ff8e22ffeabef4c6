// Turns rotation into detents crossed: 24 of them a turn, 15 degrees apart. A plain value.
#pragma once

#include <cstdint>

namespace morvel {

struct DialTickCounter {
    static constexpr double detentSpacing = 15; // degrees
    static constexpr int maximumTicks = 4;      // of one update; what is beyond is never made up

    double rotation = 0;          // degrees, not wrapped to a turn
    std::int64_t detentIndex = 0; // floor(rotation / 15) as of the last update

    // Turns by `delta` degrees and answers the ticks to play, 0 to 4: how many detents were
    // crossed, whichever way. A rotation that is not finite, or that no detent index can hold, is a
    // mistake of the caller and aborts.
    int advance(double delta);

    // Takes the detent from the rotation without a tick.
    void resync();
};

// The way from one angle to another, in degrees, in the direction that is shorter: -180 to 180.
// Half a turn keeps the sign that it came with.
double shortestAngularDelta(double previous, double angle);

} // namespace morvel
