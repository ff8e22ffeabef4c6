// The drawer of the running program on a whole desktop: from the click on the icon to the first
// frame on the screen, and from frame to frame while a toy moves by itself. Budgets: 150 ms for the
// first opening, 50 ms for later ones; 60 frames a second.

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
        test::MorvelDesktop desktop({.sound = true, .unhurried = false});
        const bool ready = desktop.start();
        const QRect icon = desktop.icon.await();
        desktop.settledIcon();
        note(state, millis, ready ? openingSeconds(desktop, icon.center()) : std::nullopt);
    }
    millis.report(state);
}
BENCHMARK(FirstDrawerOpening)->UseManualTime()->Iterations(15);

void LaterDrawerOpening(benchmark::State& state) {
    const bench::Application application;
    test::MorvelDesktop desktop({.sound = true, .unhurried = false});
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

// Clicks at `place`, and notes for so long the times between pictures of `area` that differ.
void followMotion(test::MorvelDesktop& desktop, const QPoint& place, const QRect& area,
                  std::chrono::milliseconds length, bench::Samples& millis, std::size_t& still) {
    QImage last = desktop.screenshot.take(area);
    std::optional<bench::Time::time_point> shown;
    const auto note = [&](const QImage& picture) {
        const auto now = bench::Time::now();
        if (picture == last)
            return false;
        if (shown)
            millis.add(std::chrono::duration<double, std::milli>(now - *shown).count());
        shown = now;
        last = picture;
        return false;
    };
    bool ended = false;
    desktop.pointer.click(place);
    const std::size_t before = millis.count();
    desktop.screenshot.await(area, note, ended, length);
    constexpr std::chrono::milliseconds slowest(34); // from frame to frame
    still += millis.count() - before < static_cast<std::size_t>(length / slowest) / 2 ? 1 : 0;
    std::this_thread::sleep_for(500ms); // everything comes to rest
}

// The switch's knob, and twenty bubbles that fill at once, of which one is looked at. Where a knob
// turns back, and where springs come to rest, several frames are alike: it is followed until then.
void FramesWhileAToyMoves(benchmark::State& state) {
    using test::DrawerPlaces;
    const bench::Application application;
    test::MorvelDesktop desktop({.sound = true, .unhurried = false});
    const bool ready = desktop.start() && desktop.clickIcon();
    const auto drawer = ready ? desktop.awaitDrawer() : std::nullopt;
    if (!drawer) {
        state.SkipWithError("no drawer opened");
        return;
    }
    const QPoint corner = drawer->topLeft();
    const QPoint toggle = corner + DrawerPlaces::toggleSwitch;
    const QRect track(toggle - QPoint(40, 22), QSize(80, 44));
    const QRect bubble(corner + DrawerPlaces::bubble(0) - QPoint(14, 14), QSize(28, 28));
    bench::Samples millis;
    std::size_t still = 0; // motions of which too little was seen
    for (auto _ : state) {
        followMotion(desktop, toggle, track, 140ms, millis, still);
        for (int index = 0; index < 20; ++index)
            desktop.pointer.click(corner + DrawerPlaces::bubble(index));
        std::this_thread::sleep_for(500ms);
        followMotion(desktop, corner + DrawerPlaces::reset, bubble, 250ms, millis, still);
    }
    if (!desktop.isDrawerOpen())
        state.SkipWithError("the drawer did not stay open");
    else if (still > 0)
        state.SkipWithError("a toy stood still");
    else
        millis.report(state);
}
BENCHMARK(FramesWhileAToyMoves)->Iterations(16);

} // namespace
} // namespace morvel
