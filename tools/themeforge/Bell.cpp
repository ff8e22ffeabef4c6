#include "tools/themeforge/Bell.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace morvel::forge {

namespace {

constexpr double beatHz = 1.3; // between the two sines of a partial
constexpr double twinDb = -7;  // of the second against the first

} // namespace

Signal strike(const Bell& bell, std::size_t length, Random& take) {
    Signal result(length);
    const std::size_t start = frames(bell.atMs);
    for (const auto& partial : bell.partials) {
        const double hz = bell.hz * partial.ratio;
        const double level = fromDb(partial.levelDb);
        const double phase = 2 * std::numbers::pi * take.uniform();
        const double twinPhase = 2 * std::numbers::pi * take.uniform();
        for (std::size_t i = start; i < length; ++i) {
            const double t = static_cast<double>(i - start) / sampleRate;
            const double rise = std::min(1.0, t * 1000 / bell.attackMs);
            const double fall = std::exp(-t * 1000 * partial.ratio / bell.decayMs);
            const double turn = 2 * std::numbers::pi * t;
            result[i] += level * rise * fall *
                         (std::sin(turn * hz + phase) +
                          fromDb(twinDb) * std::sin(turn * (hz + beatHz) + twinPhase));
        }
    }
    return result;
}

} // namespace morvel::forge
