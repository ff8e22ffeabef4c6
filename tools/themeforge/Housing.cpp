#include "tools/themeforge/Housing.h"

#include "tools/themeforge/Filter.h"
#include "tools/themeforge/Loudness.h"

#include <algorithm>
#include <cmath>

namespace morvel::forge {

namespace {

constexpr int reflectionCount = 6;
constexpr double firstReflectionMs = 0.5;
constexpr double tailRiseMs = 4;
constexpr double silenceMs = 6;

// Earlier reflections are stronger; each keeps its place within its share of the spread.
Signal sideReflections(const Signal& dry, const Housing& housing, Random& design) {
    Signal side(dry.size());
    for (int i = 0; i < reflectionCount; ++i) {
        const double place = (i + design.uniform()) / reflectionCount;
        const double at = firstReflectionMs + (housing.earlySpreadMs - firstReflectionMs) * place;
        const double sign = design.bipolar() < 0 ? -1 : 1;
        add(side, dry, sign * (1 - 0.6 * place), frames(at));
    }
    const double wanted = energy(dry) * std::pow(10.0, housing.earlyLevelDb / 10);
    normaliseEnergy(side, wanted);
    return side;
}

Signal tail(std::size_t length, const Housing& housing, double level, Random& random) {
    Signal noise(length);
    for (double& s : noise)
        s = random.bipolar();
    Biquad::highPass(housing.tailLowHz).process(noise);
    Biquad::lowPass(housing.tailHighHz).process(noise);
    normaliseEnergy(noise, static_cast<double>(length) * level * level);
    for (std::size_t i = 0; i < length; ++i) {
        const double t = static_cast<double>(i) * 1000 / sampleRate;
        noise[i] *= std::min(1.0, t / tailRiseMs) * fromDb(-60 * t / housing.tailRt60Ms);
    }
    return noise;
}

} // namespace

StereoSignal house(const Signal& dry, const Housing& housing, Random& design, Random& take) {
    const Signal side = sideReflections(dry, housing, design);
    const double level = peak(dry) * fromDb(housing.tailLevelDb);
    const Signal middleTail = tail(dry.size(), housing, level, take);
    const Signal sideTail = tail(dry.size(), housing, level / 2, take);
    StereoSignal result{dry, dry};
    add(result.left, middleTail);
    add(result.right, middleTail);
    add(result.left, side);
    add(result.left, sideTail);
    add(result.right, side, -1);
    add(result.right, sideTail, -1);
    return result;
}

void finish(StereoSignal& sound, const Output& output, double loudnessDb) {
    for (Signal* channel : {&sound.left, &sound.right}) {
        Biquad::highPass(output.highPassHz).process(*channel);
        Biquad::lowPass(output.lowPassHz).process(*channel);
        channel->resize(frames(output.lengthMs));
        fadeOut(*channel, frames(output.fadeMs), frames(silenceMs));
    }
    const double wanted = loudnessDb - morvel::forge::loudnessDb(sound);
    const double headroom = output.peakCeilingDb - toDb(peak(sound));
    scale(sound, fromDb(std::min(wanted, headroom)));
}

} // namespace morvel::forge
