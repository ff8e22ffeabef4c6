#include "tools/themeforge/Filter.h"
#include "tools/themeforge/Housing.h"
#include "tools/themeforge/Voices.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace morvel::forge {

namespace {

constexpr double breathQ = 1.2;

double envelope(double ms, double attackMs, double decayMs) {
    const double rise = std::min(1.0, ms / attackMs);
    return rise * rise * (3 - 2 * rise) * std::exp(-std::max(0.0, ms - attackMs) / decayMs);
}

Signal breathOf(const Pop& voice, std::size_t length, double pitch, Random& take) {
    Signal noise(length);
    for (std::size_t i = 0; i < length; ++i) {
        const double ms = static_cast<double>(i) * 1000 / sampleRate;
        noise[i] = take.bipolar() * envelope(ms, voice.attackMs / 2, voice.breathDecayMs);
    }
    Biquad::bandPass(voice.breathHz * pitch, breathQ).process(noise);
    const double highest = peak(noise);
    if (highest > 0)
        scale(noise, fromDb(voice.breathDb) / highest);
    return noise;
}

Signal bubble(const Pop& voice, std::size_t length, double pitch, Random& take) {
    Signal result = breathOf(voice, length, pitch, take);
    const double sweep = std::log2(voice.endHz / voice.startHz);
    const double overtone = fromDb(voice.overtoneDb);
    double phase = 0;
    for (std::size_t i = 0; i < length; ++i) {
        const double ms = static_cast<double>(i) * 1000 / sampleRate;
        const double progress = 1 - std::exp(-ms / voice.sweepMs);
        const double hz = voice.startHz * pitch * std::exp2(sweep * progress);
        phase += 2 * std::numbers::pi * hz / sampleRate;
        result[i] += envelope(ms, voice.attackMs, voice.decayMs) *
                     (std::sin(phase) + overtone * std::sin(2 * phase));
    }
    return result;
}

} // namespace

StereoSignal render(const Pop& given, Draws draws) {
    Random& take = draws.take;
    Pop voice = given;
    const Variation& variation = voice.variation;
    const auto strayed = [&](double ms) {
        return ms * (1 + variation.timePercent / 100 * take.bipolar());
    };
    voice.sweepMs = strayed(voice.sweepMs);
    voice.decayMs = strayed(voice.decayMs);
    const std::size_t length = frames(voice.output.lengthMs);
    const double base = 1 + variation.pitchPercent / 100 * take.bipolar();
    Signal dry(length);
    for (int i = 0; i < voice.count; ++i) {
        const double place = voice.count > 1 ? static_cast<double>(i) / (voice.count - 1) : 0;
        const double detune =
            voice.count > 1 ? 1 + variation.pitchPercent / 100 * take.bipolar() : 1;
        const double pitch = base * detune * std::exp2(voice.riseSemitones * place / 12);
        const double level = variation.levelDb * take.bipolar();
        const double stray = i == 0 ? 0 : variation.timePercent / 100 * take.bipolar();
        const double at = voice.spacingMs * (i + stray);
        add(dry, bubble(voice, length, pitch, take), fromDb(level), frames(at));
    }
    const double loudness = voice.output.loudnessDb + variation.loudnessDb * take.bipolar();
    StereoSignal result = house(dry, voice.housing, draws);
    finish(result, voice.output, loudness);
    return result;
}

} // namespace morvel::forge
