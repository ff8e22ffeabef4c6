// What the program takes while nothing is asked of it, on a whole desktop with a tray: memory, and
// once its output sleeps, wake-ups and processor time. Budgets: 45 MB resident before its first
// window and 80 MB with the drawer open; one wake-up a second in all, none for audio, and 0.0 % of
// a processor.

#include "bench/Application.h"
#include "bench/SoundStreams.h"
#include "tests/desktop/MorvelDesktop.h"
#include "tests/support/ProcessMemory.h"
#include "tests/support/ProcessWakeUps.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <thread>

namespace morvel {
namespace {

using namespace std::chrono_literals;

void reportMemory(benchmark::State& state, pid_t process) {
    constexpr double mega = 1e6;
    const test::ProcessMemory memory = test::memoryOf(process);
    state.counters["median"] = static_cast<double>(memory.resident) / mega;
    state.counters["proportional_MB"] = static_cast<double>(memory.proportional) / mega;
    state.counters["own_MB"] = static_cast<double>(memory.own) / mega;
}

bool start(test::MorvelDesktop& desktop, const std::vector<std::string>& environment = {}) {
    bench::SoundStreams streams(desktop.session.sound().address());
    return desktop.start(environment) && streams.awaitRunning(desktop.pid()) &&
           !desktop.icon.await().isEmpty();
}

void MemoryBeforeFirstWindow(benchmark::State& state) {
    const bench::Application application;
    test::MorvelDesktop desktop({.sound = true});
    for (auto _ : state) {
        if (!start(desktop))
            state.SkipWithError("Morvel did not start");
        else
            reportMemory(state, desktop.pid());
    }
}
BENCHMARK(MemoryBeforeFirstWindow)->Iterations(1);

void MemoryWithDrawerOpen(benchmark::State& state) {
    const bench::Application application;
    test::MorvelDesktop desktop({.sound = true});
    for (auto _ : state) {
        if (!start(desktop) || !desktop.clickIcon() || !desktop.awaitDrawer())
            state.SkipWithError("no drawer opened");
        else
            reportMemory(state, desktop.pid());
    }
}
BENCHMARK(MemoryWithDrawerOpen)->Iterations(1);

std::filesystem::path threadsOf(pid_t process) {
    return "/proc/" + std::to_string(process) + "/task";
}

// Nanoseconds that all threads of a process have run.
std::uint64_t runTimeOf(pid_t process) {
    std::uint64_t sum = 0;
    std::error_code gone;
    for (const auto& thread : std::filesystem::directory_iterator(threadsOf(process), gone)) {
        std::uint64_t nanoseconds = 0;
        std::ifstream(thread.path() / "schedstat") >> nanoseconds;
        sum += nanoseconds;
    }
    return sum;
}

std::uint64_t wakeUpsOfMain(pid_t process) {
    return test::wakeUpsOfThread(threadsOf(process) / std::to_string(process));
}

void Idling(benchmark::State& state) {
    const bench::Application application;
    test::MorvelDesktop desktop({.sound = true});
    constexpr int seconds = 20;
    for (auto _ : state) {
        if (!start(desktop, {"MORVEL_KEEP_WARM_SECONDS=1"})) {
            state.SkipWithError("Morvel did not start");
            break;
        }
        const pid_t process = desktop.pid();
        std::this_thread::sleep_for(5s); // by then output sleeps
        const std::uint64_t wakeUps = test::wakeUpsOf(process);
        const std::uint64_t ofMain = wakeUpsOfMain(process);
        const std::uint64_t ran = runTimeOf(process);
        std::this_thread::sleep_for(std::chrono::seconds(seconds));
        const std::uint64_t all = test::wakeUpsOf(process) - wakeUps;
        const std::uint64_t main = wakeUpsOfMain(process) - ofMain;
        state.counters["median"] = static_cast<double>(all) / seconds;
        state.counters["others"] = static_cast<double>(all - main) / seconds;
        state.counters["cpu_percent"] =
            static_cast<double>(runTimeOf(process) - ran) * 1e-9 / seconds * 100;
    }
}
BENCHMARK(Idling)->Iterations(1);

} // namespace
} // namespace morvel
