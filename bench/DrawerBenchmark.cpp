// The drawer of the running program on a whole desktop: from the click on the icon to the first
// frame on the screen. Budgets: 150 ms for the first opening, 50 ms for later ones.

#include "bench/Application.h"
#include "bench/Samples.h"
#include "tests/desktop/MorvelDesktop.h"

#include <benchmark/benchmark.h>

#include <optional>
#include <thread>

namespace morvel {
namespace {

using namespace std::chrono_literals;

// Clicks the icon and waits for anything to be seen where the drawer is to appear; answers how many
// seconds that took, and nothing where it does not come.
std::optional<double> openingSeconds(test::MorvelDesktop& desktop, const QPoint& icon) {
    const QRect panel = desktop.session.panelArea();
    const QRect above(panel.left() + 40, panel.top() - 200, 8, 8);
    const QImage before = desktop.screenshot.take(above);
    const auto start = bench::Time::now();
    desktop.pointer.click(icon);
    bool inTime = false;
    desktop.screenshot.await(
        above, [&](const QImage& now) { return now != before; }, inTime);
    const double passed = bench::secondsSince(start);
    return inTime ? std::optional(passed) : std::nullopt;
}

bool close(test::MorvelDesktop& desktop) {
    const bool opened = desktop.awaitDrawer().has_value();
    test::strike(desktop.keys, XKB_KEY_Escape);
    const bool closed = desktop.awaitNoDrawer();
    std::this_thread::sleep_for(300ms); // so soon after a closing it does not open again
    return opened && closed;
}

void note(benchmark::State& state, bench::Samples& millis, const std::optional<double>& seconds) {
    if (!seconds) {
        state.SkipWithError("no drawer opened");
        return;
    }
    state.SetIterationTime(*seconds);
    millis.add(*seconds / bench::milliseconds);
}

// Loading the module of windows is part of it.
void FirstDrawerOpening(benchmark::State& state) {
    const bench::Application application;
    bench::Samples millis;
    for (auto _ : state) {
        test::MorvelDesktop desktop({.sound = true});
        const bool ready = desktop.start();
        const QRect icon = desktop.icon.await();
        desktop.settledIcon();
        note(state, millis, ready ? openingSeconds(desktop, icon.center()) : std::nullopt);
    }
    millis.report(state);
}
BENCHMARK(FirstDrawerOpening)->UseManualTime()->Iterations(5);

void LaterDrawerOpening(benchmark::State& state) {
    const bench::Application application;
    test::MorvelDesktop desktop({.sound = true});
    const bool ready = desktop.start();
    const QRect icon = desktop.icon.await();
    desktop.settledIcon();
    if (!ready || !openingSeconds(desktop, icon.center())) {
        state.SkipWithError("no drawer opened");
        return;
    }
    bench::Samples millis;
    for (auto _ : state)
        note(state, millis, close(desktop) ? openingSeconds(desktop, icon.center()) : std::nullopt);
    millis.report(state);
}
BENCHMARK(LaterDrawerOpening)->UseManualTime()->Iterations(15);

} // namespace
} // namespace morvel
