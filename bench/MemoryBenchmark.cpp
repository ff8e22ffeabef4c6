// What the program takes of the memory on a whole desktop, with a tray. Budgets, resident: 45 MB
// before its first window and 80 MB with the drawer open.

#include "bench/SoundStreams.h"
#include "tests/desktop/MorvelProcess.h"
#include "tests/support/DesktopSession.h"
#include "tests/support/ProcessMemory.h"
#include "tests/support/WindowFinder.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>

namespace morvel {
namespace {

using namespace std::chrono_literals;

// The program at rest in a desktop of its own.
class RunningMorvel {
public:
    bool ready() {
        return process_.awaitLine("event tap installed") && streams_.awaitRunning(pid());
    }

    // Asks as a user does, by starting it once more; answers whether the drawer came.
    bool openDrawer() {
        test::ChildProcess second(
            {{MORVEL_PROGRAM, "--open-drawer"}, session_.environment(), "/dev/null", {}});
        if (second.wait(10s) != 0)
            return false;
        const QRect panel = session_.panelArea();
        return test::WindowFinder(session_.display())
            .await([&](const test::Window& window) {
                return window.pid == pid() && !panel.contains(window.geometry);
            })
            .has_value();
    }

    void report(benchmark::State& state) {
        const test::ProcessMemory memory = test::memoryOf(pid());
        state.counters["resident_MB"] = static_cast<double>(memory.resident) / 1e6;
        state.counters["proportional_MB"] = static_cast<double>(memory.proportional) / 1e6;
        state.counters["own_MB"] = static_cast<double>(memory.own) / 1e6;
    }

private:
    pid_t pid() { return process_.process().pid(); }

    test::DesktopSession session_{{.panel = test::Panel::tint2, .sound = true, .unhurried = false}};
    bench::SoundStreams streams_{session_.sound().address()};
    test::MorvelProcess process_{session_.home(), session_.environment()};
};

// The session's bus needs an application.
struct Application {
    int count = 1;
    char name[6] = "bench";
    char* arguments[2] = {name, nullptr};
    QCoreApplication application{count, arguments};
};

void MemoryBeforeFirstWindow(benchmark::State& state) {
    const Application application;
    RunningMorvel morvel;
    for (auto _ : state) {
        if (!morvel.ready())
            state.SkipWithError("Morvel did not start");
        morvel.report(state);
    }
    state.SetLabel("budget: 45 MB resident");
}
BENCHMARK(MemoryBeforeFirstWindow)->Unit(benchmark::kMillisecond)->Iterations(1);

void MemoryWithDrawerOpen(benchmark::State& state) {
    const Application application;
    RunningMorvel morvel;
    for (auto _ : state) {
        if (!morvel.ready() || !morvel.openDrawer())
            state.SkipWithError("no drawer opened");
        morvel.report(state);
    }
    state.SetLabel("budget: 80 MB resident");
}
BENCHMARK(MemoryWithDrawerOpen)->Unit(benchmark::kMillisecond)->Iterations(1);

} // namespace
} // namespace morvel
