#include "tools/themeforge/Filter.h"
#include "tools/themeforge/Loudness.h"
#include "tools/themeforge/Modal.h"
#include "tools/themeforge/Voices.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace morvel::forge {

namespace {

constexpr double grainLevelDb = 2; // how far the grains differ

// A filter fed the same period again and again settles into that period: of two in a row the second
// has no beginning, and so no seam.
template <typename Filter>
Signal periodic(const Signal& period, Filter filter) {
    Signal twice = period;
    twice.insert(twice.end(), period.begin(), period.end());
    filter(twice);
    return {twice.begin() + static_cast<std::ptrdiff_t>(period.size()), twice.end()};
}

Signal bearing(const Whir& voice, std::size_t length, Random& random) {
    Signal noise(length);
    for (double& s : noise)
        s = random.bipolar();
    noise = periodic(noise, [&](Signal& s) {
        Biquad::highPass(voice.lowHz).process(s);
        Biquad::lowPass(voice.highHz).process(s);
    });
    const double cycles = std::round(voice.swellHz * voice.lengthMs / 1000);
    for (std::size_t i = 0; i < length; ++i) {
        const double turn = static_cast<double>(i) / static_cast<double>(length);
        noise[i] *= fromDb(voice.swellDb / 2 * std::cos(2 * std::numbers::pi * cycles * turn));
    }
    normaliseEnergy(noise);
    return noise;
}

Signal grains(const Whir& voice, std::size_t length, Random& design, Random& take) {
    Signal hits(length);
    const int count = static_cast<int>(std::round(voice.grainHz * voice.lengthMs / 1000));
    for (int i = 0; i < count; ++i) {
        const double place = (i + 0.5) / count;
        hits[static_cast<std::size_t>(place * static_cast<double>(length))] +=
            fromDb(grainLevelDb * take.bipolar());
    }
    const auto modes = designModes(voice.grain, 1, Variation{}, design, take);
    Signal result = periodic(hits, [&](Signal& s) {
        s = ring(s, modes);
        Biquad::highPass(voice.lowHz / 2).process(s); // all hits push the same way
    });
    normaliseEnergy(result, std::pow(10.0, voice.grainDb / 10));
    return result;
}

} // namespace

StereoSignal render(const Whir& voice, Draws draws) {
    Random& take = draws.take;
    const std::size_t length = frames(voice.lengthMs);
    Signal middle = bearing(voice, length, take);
    add(middle, grains(voice, length, draws.design, take));
    const Signal side = bearing(voice, length, take);
    StereoSignal result{middle, middle};
    add(result.left, side, voice.width);
    add(result.right, side, -voice.width);
    scale(result, fromDb(voice.loudnessDb - loudnessDb(result)));
    return result;
}

} // namespace morvel::forge
