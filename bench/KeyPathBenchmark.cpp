// What a key costs on its way: classifying it, handling it whole, and the steps in between.
// Budget of the whole: 3 us at the median and 25 us at the 99th percentile.

#include "bench/KeyPath.h"
#include "bench/Samples.h"
#include "keyboard/Classification.h"
#include "platform/SystemRandom.h"
#include "platform/linux/SystemClock.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace morvel {
namespace {

constexpr double usualSeconds = 0.3;

// Plays keys one by one. Between them the audio side renders, untimed: it takes the commands, and
// leaves the caches as they are when a key comes.
template <typename Key>
void oneByOne(benchmark::State& state, bench::KeyPath& path, const Clock& clock, const Key& key) {
    std::vector<float> out(stereoSamples(blockFrames));
    bench::Samples micros;
    unsigned number = 0;
    while (state.KeepRunning()) {
        const std::uint64_t before = clock.hostNanos();
        key(number++);
        const std::uint64_t cost = clock.hostNanos() - before;
        state.SetIterationTime(static_cast<double>(cost) * bench::nanoseconds);
        micros.add(static_cast<double>(cost) / 1000);
        path.output.renderInto(out.data(), blockFrames);
    }
    micros.report(state);
    state.counters["dropped"] = static_cast<double>(path.audio.droppedSoundCount());
}

void HandlingAKey(benchmark::State& state) {
    const SystemClock clock;
    SystemRandom random;
    bench::KeyPath path(clock, random);
    oneByOne(state, path, clock,
             [&](unsigned number) { path.tap.send(bench::ordinaryKey(number)); });
}
BENCHMARK(HandlingAKey)->UseManualTime()->Iterations(40000);

void Playing(benchmark::State& state) {
    const SystemClock clock;
    SystemRandom random;
    bench::KeyPath path(clock, random);
    oneByOne(state, path, clock,
             [&](unsigned) { path.audio.play(SoundCategory::alphaDown, 1, true); });
}
BENCHMARK(Playing)->UseManualTime()->Iterations(40000);

void Classifying(benchmark::State& state) {
    std::vector<KeyEvent> events;
    for (const std::uint32_t type : {keyDownEventType, keyUpEventType, flagsChangedEventType})
        for (std::int64_t code = 0; code < 128; ++code)
            events.push_back({type, code, 0, 0, 0});
    std::size_t next = 0;
    bench::timed(state, 1000, bench::nanoseconds, [&] {
        const KeyEvent& event = events[next];
        next = next + 1 == events.size() ? 0 : next + 1;
        benchmark::DoNotOptimize(classify(event.type, event.keyCode, event.flags));
    }).report(state);
}
BENCHMARK(Classifying)->MinTime(usualSeconds);

void AcquiringAVoice(benchmark::State& state) {
    VoicePool pool;
    double now = 0;
    bench::timed(state, 100, bench::nanoseconds, [&] {
        now += 0.03;
        benchmark::DoNotOptimize(pool.acquire(now, 0.5));
    }).report(state);
}
BENCHMARK(AcquiringAVoice)->MinTime(usualSeconds);

void DrawingARate(benchmark::State& state) {
    SystemRandom random;
    bench::timed(state, 100, bench::nanoseconds, [&] {
        benchmark::DoNotOptimize(AudioEngine::jitterRate(50, random));
    }).report(state);
}
BENCHMARK(DrawingARate)->MinTime(usualSeconds);

} // namespace
} // namespace morvel
