// The program on a private desktop: from its start to the tap and the sound being ready, and from a
// key press to the first sample at the sink's monitor. Budgets: 200 ms; 3.5 ms at the median and
// 5 ms at the 95th percentile, through PipeWire 8 ms and 10 ms.

#include "bench/DesktopFixture.h"
#include "bench/SoundStreams.h"
#include "platform/linux/SystemRandom.h"
#include "platform/simulated/SimulatedLog.h"
#include "tests/support/PipeWireRecorder.h"
#include "tests/support/PipeWireServer.h"
#include "tests/support/ProcessMemory.h"
#include "tools/audition/Audition.h"

#include <benchmark/benchmark.h>

#include <chrono>

namespace morvel {
namespace {

using Time = std::chrono::steady_clock;

double millisecondsSince(Time::time_point start) {
    return std::chrono::duration<double, std::milli>(Time::now() - start).count();
}

void StartToTapAndSound(benchmark::State& state) {
    bench::Desktop desktop;
    bench::SoundStreams streams(desktop.sound.address());
    for (auto _ : state) {
        const auto start = Time::now();
        test::MorvelProcess morvel(desktop.home(), desktop.environment());
        if (!morvel.awaitLine("event tap installed") ||
            !streams.awaitRunning(morvel.process().pid())) {
            state.SkipWithError("Morvel did not start");
            break;
        }
        state.SetIterationTime(millisecondsSince(start) / 1000);
    }
    state.SetLabel("budget: 200 ms");
}
BENCHMARK(StartToTapAndSound)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);

// What it takes to know the sounds of the theme that plays.
struct KnownTheme {
    SimulatedLog log;
    SystemRandom random;
    ThemeCatalog catalog{MORVEL_SOURCE_THEMES, {}, log};
    std::shared_ptr<const SoundTheme> theme;
    std::vector<SoundCategory> categories;

    KnownTheme() {
        if (const auto loaded = SoundTheme::load("mechanical", catalog, log, random))
            theme = loaded.value();
        for (const SoundCategory category : allSoundCategories())
            if (group(category))
                categories.push_back(category);
    }
};

// Types while `recorder` records, and counts how soon each stroke was heard.
template <typename Recorder>
void typeAndListen(benchmark::State& state, const std::string& display, Recorder& recorder) {
    const KnownTheme known;
    if (!known.theme) {
        state.SkipWithError("no theme");
        return;
    }
    audition::KeyInjector keys(display);
    const auto strokes = audition::perform(
        keys, audition::typingScript("the quick brown fox jumps over the lazy dog and on"));
    recorder.await(recorder.frameLength() + 30000);
    const auto recording = recorder.finish();
    const auto heard =
        audition::SoundMatcher(*known.theme, known.categories).listen(recording.interleaved);
    const auto comparison = audition::compare(strokes, heard, recording);
    state.counters["median_ms"] = comparison.median();
    state.counters["p95_ms"] = comparison.percentile(0.95);
    state.counters["strokes"] = static_cast<double>(comparison.latenciesMs.size());
    state.counters["wrong"] = static_cast<double>(comparison.complaints.size());
}

void KeyPressToSoundThroughPulseAudio(benchmark::State& state) {
    bench::Desktop desktop;
    test::MorvelProcess morvel(desktop.home(), desktop.environment());
    if (!morvel.awaitLine("event tap installed") || !morvel.awaitLine("Audio output")) {
        state.SkipWithError("Morvel did not start");
        return;
    }
    for (auto _ : state) {
        audition::MonitorRecorder recorder("speaker.monitor", desktop.sound.address());
        typeAndListen(state, desktop.x.display(), recorder);
        state.counters["resident_MB"] =
            static_cast<double>(test::memoryOf(morvel.process().pid()).resident) / 1e6;
    }
    state.SetLabel("budget: median 3.5 ms, p95 5 ms; 45 MB");
}
BENCHMARK(KeyPressToSoundThroughPulseAudio)->Unit(benchmark::kMillisecond)->Iterations(1);

void KeyPressToSoundThroughPipeWire(benchmark::State& state) {
    bench::Desktop desktop;
    test::PipeWireServer server(desktop.folder.path() / "pipewire");
    server.start();
    auto environment = desktop.environment();
    environment.push_back("PIPEWIRE_RUNTIME_DIR=" + server.runtimeFolder());
    test::MorvelProcess morvel(desktop.home(), environment);
    if (!morvel.awaitLine("event tap installed") || !morvel.awaitLine("Audio output: PipeWire")) {
        state.SkipWithError("Morvel did not start");
        return;
    }
    for (auto _ : state) {
        test::PipeWireRecorder recorder(test::PipeWireServer::speaker, server.address());
        typeAndListen(state, desktop.x.display(), recorder);
        state.counters["resident_MB"] =
            static_cast<double>(test::memoryOf(morvel.process().pid()).resident) / 1e6;
    }
    state.SetLabel("budget: median 8 ms, p95 10 ms; 45 MB");
}
BENCHMARK(KeyPressToSoundThroughPipeWire)->Unit(benchmark::kMillisecond)->Iterations(1);

} // namespace
} // namespace morvel
