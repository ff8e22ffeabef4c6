#include "tools/themeforge/Modal.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace morvel::forge {

namespace {

constexpr double designLevelDb = 2.5; // how far the modes of a group differ from each other
constexpr double designSpread = 0.8;  // of a mode's share of the range
constexpr double qSpread = 0.25;
constexpr double highestModeHz = 0.45 * sampleRate;

} // namespace

std::vector<Mode> designModes(const ModeGroup& group, double tuning, const Variation& variation,
                              Random& design, Random& take) {
    std::vector<Mode> modes;
    const double octaves = std::log2(group.highHz / group.lowHz);
    for (int i = 0; i < group.modes; ++i) {
        const double place = (i + 0.5 + designSpread / 2 * design.bipolar()) / group.modes;
        const double q = group.q * (1 + qSpread * design.bipolar());
        const double level = designLevelDb * design.bipolar() + variation.levelDb * take.bipolar();
        const double sign = design.bipolar() < 0 ? -1 : 1;
        const double detune = 1 + variation.pitchPercent / 100 * take.bipolar();
        const double hz = group.lowHz * std::exp2(octaves * place) * tuning * detune;
        modes.push_back({std::min(hz, highestModeHz), q, sign * fromDb(level)});
    }
    return modes;
}

std::vector<Mode> designPartials(const Spring& spring, const Variation& variation, Random& design,
                                 Random& take) {
    const ModeGroup group{spring.partials, spring.lowHz, spring.highHz, spring.q};
    const Variation levelsOnly{variation.pitchPercent / 4, variation.levelDb, 0, 0};
    return designModes(group, 1, levelsOnly, design, take);
}

Signal ring(const Signal& excitation, const std::vector<Mode>& modes) {
    Signal result(excitation.size());
    for (const Mode& mode : modes) {
        const double w = 2 * std::numbers::pi * mode.hz / sampleRate;
        const double radius = std::exp(-w / (2 * mode.q));
        const double a1 = 2 * radius * std::cos(w);
        const double a2 = -radius * radius;
        const double b = mode.gain * radius * std::sin(w);
        double last = 0;
        double before = 0;
        double in = 0;
        for (std::size_t i = 0; i < excitation.size(); ++i) {
            const double out = b * in + a1 * last + a2 * before;
            in = excitation[i];
            before = last;
            last = out;
            result[i] += out;
        }
    }
    return result;
}

} // namespace morvel::forge
