// What rendering costs: voices and the loop at odd rates, the limiter, the varispeed alone.
// Budget: nine voices at 500 times real time on one core.

#include "bench/Mixer.h"
#include "bench/Resamplers.h"
#include "bench/Samples.h"

#include <benchmark/benchmark.h>

namespace morvel {
namespace {

constexpr double usualSeconds = 0.3;
constexpr float quiet = 0.05F;
constexpr float loud = 0.9F; // nine of it are far beyond full scale

// The microseconds that a block of so many frames takes.
void Rendering(benchmark::State& state) {
    const auto voices = static_cast<std::size_t>(state.range(0));
    const auto frames = static_cast<std::uint32_t>(state.range(1));
    bench::OwnMixer mixer(bench::noise(quiet), std::span(bench::oddRates).first(voices));
    std::vector<float> out(stereoSamples(frames));
    constexpr int silentBlocks = 32; // that take less than the clock
    bench::timed(state, voices == 0 ? silentBlocks : 1, bench::microseconds, [&] {
        mixer.render(out.data(), frames);
        benchmark::DoNotOptimize(out.data());
    }).report(state);
}
BENCHMARK(Rendering)
    ->ArgNames({"voices", "frames"})
    ->ArgsProduct({{0, 1, 2, 4, 6, 8, 9}, {128}})
    ->ArgsProduct({{0, 1, 4, 9}, {64, 512}})
    ->MinTime(usualSeconds);

// How many times faster than real time all nine voices are rendered, in blocks of 128 frames.
void speed(benchmark::State& state, float amplitude, VarispeedKernel kernel) {
    bench::OwnMixer mixer(bench::noise(amplitude), bench::oddRates, kernel);
    std::vector<float> out(stereoSamples(blockFrames));
    constexpr int batch = 50;
    bench::Samples samples;
    for (auto _ : state) {
        const auto start = bench::Time::now();
        for (int i = 0; i < batch; ++i) {
            mixer.render(out.data(), blockFrames);
            benchmark::DoNotOptimize(out.data());
        }
        samples.add(batch * blockFrames / canonicalFormat.sampleRate / bench::secondsSince(start));
    }
    samples.reportReached(state);
}

void RenderingSpeed(benchmark::State& state) {
    speed(state, quiet, nullptr);
}
void RenderingSpeedWhileLimiting(benchmark::State& state) {
    speed(state, loud, nullptr);
}
void RenderingSpeedOnAnyProcessor(benchmark::State& state) {
    speed(state, quiet, &interpolatePortably);
}
BENCHMARK(RenderingSpeed)->MinTime(usualSeconds);
BENCHMARK(RenderingSpeedWhileLimiting)->MinTime(usualSeconds);
BENCHMARK(RenderingSpeedOnAnyProcessor)->MinTime(usualSeconds);

// It works in place: the block is filled anew each time, which is counted in.
void limiting(benchmark::State& state, float amplitude) {
    Limiter limiter;
    const auto sound = bench::noise(amplitude);
    std::vector<float> block(stereoSamples(blockFrames));
    std::size_t at = 0;
    bench::timed(state, 8, bench::microseconds, [&] {
        at = (at + blockFrames) % (sound->frameLength() - blockFrames);
        for (std::size_t i = 0; i < blockFrames; ++i) {
            block[2 * i] = sound->channels[0][at + i];
            block[2 * i + 1] = sound->channels[1][at + i];
        }
        limiter.process(block.data(), blockFrames);
        benchmark::DoNotOptimize(block.data());
    }).report(state);
}

void LimiterAtRest(benchmark::State& state) {
    limiting(state, 0.5F);
}
void LimiterAtWork(benchmark::State& state) {
    limiting(state, 4);
}
BENCHMARK(LimiterAtRest)->MinTime(usualSeconds);
BENCHMARK(LimiterAtWork)->MinTime(usualSeconds);

// A block of one voice, at a rate in hundredths.
void VarispeedAlone(benchmark::State& state) {
    const float rate = static_cast<float>(state.range(0)) / 100;
    const auto player = bench::varispeedPlayer(bench::noise(quiet), rate);
    std::vector<float> out(stereoSamples(blockFrames));
    bench::timed(state, 8, bench::microseconds, [&] {
        player->render(out.data(), blockFrames);
        benchmark::DoNotOptimize(out.data());
    }).report(state);
}
BENCHMARK(VarispeedAlone)
    ->ArgName("rate")
    ->Arg(50)
    ->Arg(97)
    ->Arg(100)
    ->Arg(103)
    ->Arg(150)
    ->Arg(200)
    ->MinTime(usualSeconds);

} // namespace
} // namespace morvel
