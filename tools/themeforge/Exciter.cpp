#include "tools/themeforge/Exciter.h"

#include "tools/themeforge/Filter.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace morvel::forge {

namespace {

constexpr double noiseLengthInDecays = 9; // -78 dB

Signal pulse(double contactMs) {
    Signal result(std::max<std::size_t>(frames(contactMs), 2) + 1);
    const double last = static_cast<double>(result.size() - 1);
    for (std::size_t i = 0; i < result.size(); ++i)
        result[i] = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * static_cast<double>(i) / last);
    return result;
}

Signal noise(const Exciter& exciter, Random& random) {
    const std::size_t rise = std::max<std::size_t>(frames(exciter.contactMs) / 2, 2);
    Signal result(rise + frames(exciter.decayMs * noiseLengthInDecays) + 1);
    for (std::size_t i = 0; i < result.size(); ++i) {
        const double t = (static_cast<double>(i) - static_cast<double>(rise)) * 1000 / sampleRate;
        const double envelope = i < rise ? static_cast<double>(i) / static_cast<double>(rise)
                                         : std::exp(-t / exciter.decayMs);
        result[i] = envelope * random.bipolar();
    }
    return result;
}

Exciter toned(Exciter exciter, double octaves) {
    const double factor = std::exp2(octaves);
    exciter.contactMs /= factor;
    exciter.decayMs /= factor;
    exciter.lowPassHz *= factor;
    return exciter;
}

} // namespace

Signal blow(const Exciter& exciter, Random& random) {
    Signal soft = pulse(exciter.contactMs);
    Signal rough = noise(exciter, random);
    normaliseEnergy(soft, 1 - exciter.noiseShare);
    normaliseEnergy(rough, exciter.noiseShare);
    rough.resize(std::max(rough.size(), soft.size()));
    add(rough, soft);
    Biquad::lowPass(exciter.lowPassHz).process(rough);
    normaliseEnergy(rough);
    return rough;
}

Signal excitation(const Exciter& exciter, const std::vector<Impact>& impacts,
                  const Variation& variation, std::size_t length, Random& random) {
    Signal result(length);
    for (std::size_t i = 0; i < impacts.size(); ++i) {
        const double stray = 1 + variation.timePercent / 100 * random.bipolar();
        const double level = impacts[i].levelDb + variation.levelDb / 2 * random.bipolar();
        const double at = i == 0 ? impacts[i].atMs : impacts[i].atMs * stray;
        add(result, blow(toned(exciter, impacts[i].toneOctaves), random), fromDb(level),
            frames(at));
    }
    return result;
}

} // namespace morvel::forge
