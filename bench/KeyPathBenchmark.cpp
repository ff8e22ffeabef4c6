// What a key costs: from the tap's callback to the command in the queue, and loading the theme that
// answers it. Budgets: 3 us at the median and 25 us at the 99th percentile; 60 ms a theme.

#include "app/login/LaunchAtLogin.h"
#include "app/settings/JsonDefaultsStore.h"
#include "keyboard/KeyboardEngine.h"
#include "platform/linux/SystemClock.h"
#include "platform/linux/SystemRandom.h"
#include "platform/simulated/OfflineAudioOutput.h"
#include "platform/simulated/SimulatedApplicationActivation.h"
#include "platform/simulated/SimulatedKeyTap.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/SimulatedLoginItem.h"
#include "platform/simulated/SimulatedProcessTable.h"
#include "platform/simulated/SimulatedTrustSource.h"
#include "platform/simulated/VirtualTime.h"
#include "themes/SoundTheme.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <vector>

namespace morvel {
namespace {

std::shared_ptr<const SoundTheme> loadMechanical(Log& log, RandomSource& random) {
    const ThemeCatalog catalog(MORVEL_SOURCE_THEMES, {}, log);
    const auto theme = SoundTheme::load("mechanical", catalog, log, random);
    return theme ? theme.value() : nullptr;
}

void HandlingAKey(benchmark::State& state) {
    SimulatedLog log;
    VirtualTime loop;
    const SystemClock clock;
    SystemRandom random;
    OfflineAudioOutput output;
    AudioEngine audio({output, clock, loop, random, log}, false);
    audio.setResolver(loadMechanical(log, random));
    SimulatedLoginItem loginItem;
    LaunchAtLogin login(loginItem, {}, {}, log);
    JsonDefaultsStore defaults("/dev/null/settings.json", loop, log);
    AppSettings settings(defaults, audio, login, log);
    SimulatedTrustSource trust(true);
    SimulatedProcessTable processes(1, {});
    SimulatedApplicationActivation activation;
    AccessibilityPermission permission({trust, processes, clock, loop, activation, log}, {},
                                       [](const std::string&) { return std::nullopt; });
    SimulatedKeyTap tap;
    KeyboardEngine keyboard({tap, settings, permission, audio, clock, log}, false);
    keyboard.start();
    loop.runPending();

    std::vector<double> micros;
    micros.reserve(1 << 20);
    std::uint32_t stroke = 0;
    for (auto _ : state) {
        const KeyEvent event{stroke % 2 == 0 ? keyDownEventType : keyUpEventType, neutralKeyCode, 0,
                             0, 0};
        const std::uint64_t before = clock.hostNanos();
        tap.send(event);
        const std::uint64_t after = clock.hostNanos();
        micros.push_back(static_cast<double>(after - before) / 1000);
        if (++stroke % 8 == 0) {
            // The audio side takes the commands, as it would a few hundred times a second.
            state.PauseTiming();
            output.render(128);
            state.ResumeTiming();
        }
    }
    std::sort(micros.begin(), micros.end());
    state.counters["median_us"] = micros[micros.size() / 2];
    state.counters["p99_us"] = micros[micros.size() * 99 / 100];
    state.SetLabel("budget: median 3 us, p99 25 us");
}
BENCHMARK(HandlingAKey)->Iterations(20000);

void LoadingAThemeWithItsFallback(benchmark::State& state) {
    SystemRandom random;
    for (auto _ : state) {
        SimulatedLog log;
        benchmark::DoNotOptimize(loadMechanical(log, random));
    }
    state.SetLabel("budget: 60 ms");
}
BENCHMARK(LoadingAThemeWithItsFallback)->Unit(benchmark::kMillisecond)->MinTime(1);

} // namespace
} // namespace morvel
