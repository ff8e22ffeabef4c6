// The renderer beside OpenAL Soft's mixer, and the varispeed beside other libraries' resamplers:
// the same sound, rates and blocks, turn by turn, so that both have the same machine. Beside each
// speed stands what it is worth: how pure a sine comes out.
// Budget: nine voices 4 times as fast as OpenAL Soft's, and no less pure.

#include "bench/Mixer.h"
#include "bench/OpenAlMixer.h"
#include "bench/Resamplers.h"
#include "bench/Samples.h"
#include "tests/audio/Signals.h"

#include <benchmark/benchmark.h>
#include <samplerate.h>
#include <soxr.h>

#include <algorithm>
#include <functional>
#include <stdexcept>

namespace morvel {
namespace {

using Make =
    std::function<std::unique_ptr<bench::Mixer>(std::shared_ptr<const PcmBuffer>, float rate)>;

// How far below a sine everything else is that comes out with it, in decibels: the worst of sines
// from 1 to 18 kHz at every odd rate.
double purity(const Make& make) {
    constexpr std::size_t begin = 8192; // frames, in which a sudden start still rings
    constexpr std::size_t length = 16384;
    double worst = -1000;
    for (const double frequency : {1000.0, 5000.0, 10000.0, 15000.0, 18000.0}) {
        const auto tone = test::sine(frequency, 2 * (begin + length), 0.25F);
        for (const float rate : bench::oddRates) {
            const auto mixer = make(tone, rate);
            std::vector<float> out(2 * (begin + length));
            for (std::size_t done = 0; done < begin + length; done += blockFrames)
                mixer->render(out.data() + 2 * done, blockFrames);
            const auto left = test::channel(std::span(out).subspan(2 * begin), 0);
            const auto fit = test::fitSine(left, frequency * static_cast<double>(rate));
            worst = std::max(worst,
                             test::decibels(fit.residualRms * std::numbers::sqrt2 / fit.amplitude));
        }
    }
    return worst;
}

void reportPurity(benchmark::State& state, const Make& make) {
    for (auto _ : state)
        state.counters["median"] = purity(make);
}

std::unique_ptr<bench::Mixer> own(std::shared_ptr<const PcmBuffer> sound, float rate) {
    return std::make_unique<bench::OwnMixer>(std::move(sound), std::span(&rate, 1));
}
std::unique_ptr<bench::Mixer> openAl(const std::shared_ptr<const PcmBuffer>& sound, float rate) {
    return std::make_unique<bench::OpenAlMixer>(*sound, std::span(&rate, 1));
}
// Above 0: the renderer's worst is so much worse than OpenAL Soft's.
void comparePurity(benchmark::State& state) {
    for (auto _ : state)
        state.counters["median"] = purity(own) - purity(openAl);
}

std::unique_ptr<bench::Mixer> varispeed(std::shared_ptr<const PcmBuffer> sound, float rate) {
    return bench::varispeedPlayer(std::move(sound), rate);
}
Make libsamplerate(int converter) {
    return [converter](const auto& sound, float rate) {
        return bench::libsampleratePlayer(*sound, rate, converter);
    };
}
Make soxr(unsigned long recipe) {
    return
        [recipe](const auto& sound, float rate) { return bench::soxrPlayer(*sound, rate, recipe); };
}

double secondsOf(bench::Mixer& mixer, std::vector<float>& out, int blocks) {
    const auto start = bench::Time::now();
    for (int i = 0; i < blocks; ++i) {
        mixer.render(out.data(), blockFrames);
        benchmark::DoNotOptimize(out.data());
    }
    return bench::secondsSince(start);
}

// How many times faster `ours` is, and how many times faster than real time each.
void race(benchmark::State& state, bench::Mixer& ours, bench::Mixer& other, int blocks) {
    std::vector<float> out(stereoSamples(blockFrames));
    const double length = blocks * blockFrames / canonicalFormat.sampleRate;
    bench::Samples ratios;
    bench::Samples our;
    bench::Samples their;
    for (auto _ : state) {
        const double ourSeconds = secondsOf(ours, out, blocks);
        const double theirSeconds = secondsOf(other, out, blocks);
        ratios.add(theirSeconds / ourSeconds);
        our.add(length / ourSeconds);
        their.add(length / theirSeconds);
    }
    ratios.reportReached(state);
    state.counters["ours_x"] = our.at(0.5);
    state.counters["theirs_x"] = their.at(0.5);
}

void RenderingBesideOpenAlSoft(benchmark::State& state) {
    const auto voices = static_cast<std::size_t>(state.range(0));
    const auto rates = std::span(bench::oddRates).first(voices);
    const auto sound = bench::noise(0.05F);
    bench::OwnMixer ours(sound, rates);
    bench::OpenAlMixer theirs(*sound, rates);
    state.SetLabel(theirs.resampler());
    race(state, ours, theirs, 50);
}
BENCHMARK(RenderingBesideOpenAlSoft)->ArgName("voices")->Arg(1)->Arg(4)->Arg(9)->MinTime(0.5);

BENCHMARK_CAPTURE(reportPurity, OwnRenderer, own)->Name("PurityOf/OwnRenderer")->Iterations(1);
BENCHMARK_CAPTURE(reportPurity, OpenAlSoft, openAl)->Name("PurityOf/OpenAlSoft")->Iterations(1);
BENCHMARK(comparePurity)->Name("PurityBeside/OpenAlSoft")->Iterations(1);

// One stereo sound. Others work in larger pieces inside; so many blocks even that out.
void raceVarispeed(benchmark::State& state, const Make& other) {
    const auto sound = bench::noise(0.05F);
    const auto ours = varispeed(sound, bench::oddRates[0]);
    const auto theirs = other(sound, bench::oddRates[0]);
    race(state, *ours, *theirs, 400);
}

BENCHMARK_CAPTURE(reportPurity, Varispeed, varispeed)->Name("PurityOf/Varispeed")->Iterations(1);

// Each library's fastest that is as pure as the varispeed, and its usual one.
BENCHMARK_CAPTURE(raceVarispeed, LibsamplerateFastest, libsamplerate(SRC_SINC_FASTEST))
    ->Name("VarispeedBeside/LibsamplerateFastest")
    ->MinTime(0.3);
BENCHMARK_CAPTURE(raceVarispeed, LibsamplerateMedium, libsamplerate(SRC_SINC_MEDIUM_QUALITY))
    ->Name("VarispeedBeside/LibsamplerateMedium")
    ->MinTime(0.3);
BENCHMARK_CAPTURE(raceVarispeed, SoxrLow, soxr(SOXR_LQ))
    ->Name("VarispeedBeside/SoxrLow")
    ->MinTime(0.3);
BENCHMARK_CAPTURE(raceVarispeed, SoxrHigh, soxr(SOXR_HQ))
    ->Name("VarispeedBeside/SoxrHigh")
    ->MinTime(0.3);
BENCHMARK_CAPTURE(reportPurity, LibsamplerateFastest, libsamplerate(SRC_SINC_FASTEST))
    ->Name("PurityOf/LibsamplerateFastest")
    ->Iterations(1);
BENCHMARK_CAPTURE(reportPurity, LibsamplerateMedium, libsamplerate(SRC_SINC_MEDIUM_QUALITY))
    ->Name("PurityOf/LibsamplerateMedium")
    ->Iterations(1);
BENCHMARK_CAPTURE(reportPurity, SoxrLow, soxr(SOXR_LQ))->Name("PurityOf/SoxrLow")->Iterations(1);
BENCHMARK_CAPTURE(reportPurity, SoxrHigh, soxr(SOXR_HQ))->Name("PurityOf/SoxrHigh")->Iterations(1);

} // namespace
} // namespace morvel
