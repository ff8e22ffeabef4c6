#include "tools/themeforge/Housing.h"

#include "tools/themeforge/Filter.h"
#include "tools/themeforge/Loudness.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace morvel::forge {

namespace {

constexpr int reflectionCount = 6;
constexpr double firstReflectionMs = 0.5;
constexpr double tailRiseMs = 4;
constexpr double silenceMs = 6;
constexpr double upperTailFactor = 0.5; // the tail's upper half against the lower, in time
constexpr double roomDropDb = 8;        // from the first reflection of a room to the last

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

// Noise of one band that falls by 60 dB in `rt60Ms`. Its beginning has the level that a tail over
// both bands would have there.
Signal tailBand(std::size_t length, double lowHz, double highHz, double rt60Ms, Random& random) {
    Signal noise(length);
    for (double& s : noise)
        s = random.bipolar();
    Biquad::highPass(lowHz).process(noise);
    Biquad::lowPass(highHz).process(noise);
    for (std::size_t i = 0; i < length; ++i) {
        const double t = static_cast<double>(i) * 1000 / sampleRate;
        noise[i] *= std::min(1.0, t / tailRiseMs) * fromDb(-60 * t / rt60Ms);
    }
    return noise;
}

// Air and plastic swallow high frequencies first, so the tail darkens while it fades.
Signal tail(std::size_t length, const Housing& housing, double level, Random& random) {
    const double middle = std::sqrt(housing.tailLowHz * housing.tailHighHz);
    const double rt60 = housing.tailRt60Ms;
    Signal noise = tailBand(length, housing.tailLowHz, middle, rt60, random);
    add(noise, tailBand(length, middle, housing.tailHighHz, rt60 * upperTailFactor, random));
    const double seconds = rt60 / 1000 / (2 * 3 * std::numbers::ln10);
    normaliseEnergy(noise, seconds * sampleRate * level * level);
    return noise;
}

void addRoom(StereoSignal& sound, const Signal& dry, const Room& room, Random& random) {
    for (Signal* channel : {&sound.left, &sound.right}) {
        Signal reflected(dry.size());
        for (int i = 0; i < room.reflections; ++i) {
            const double place = (i + random.uniform()) / room.reflections;
            const double at = room.firstMs * std::pow(room.lastMs / room.firstMs, place);
            const double sign = random.bipolar() < 0 ? -1 : 1;
            Signal copy = dry;
            Biquad::lowPass(room.lowPassHz * std::exp2(-place)).process(copy);
            add(reflected, copy, sign * fromDb(-roomDropDb * place), frames(at));
        }
        normaliseEnergy(reflected, energy(dry) * std::pow(10.0, room.levelDb / 10));
        add(*channel, reflected);
    }
}

} // namespace

StereoSignal house(const Signal& dry, const Housing& housing, Draws& draws) {
    const Signal side = sideReflections(dry, housing, draws.design);
    const double level = peak(dry) * fromDb(housing.tailLevelDb);
    const Signal middleTail = tail(dry.size(), housing, level, draws.take);
    const Signal sideTail = tail(dry.size(), housing, level / 2, draws.take);
    StereoSignal result{dry, dry};
    add(result.left, middleTail);
    add(result.right, middleTail);
    add(result.left, side);
    add(result.left, sideTail);
    add(result.right, side, -1);
    add(result.right, sideTail, -1);
    if (housing.room)
        addRoom(result, dry, *housing.room, draws.room);
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
