// From a key press to the first sample of its sound at the sink's monitor, with the whole program
// on a whole desktop, and while it or the machine has other things to do. Budgets: through
// PulseAudio 3.5 ms at the median and 5 ms at the 95th percentile, through PipeWire 8 ms and 10 ms;
// under load 30 ms at the 99th percentile.

#include "bench/Application.h"
#include "bench/HeardTyping.h"
#include "bench/Results.h"
#include "bench/Samples.h"
#include "tests/desktop/MorvelDesktop.h"
#include "tests/support/Accessibility.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <optional>
#include <stop_token>
#include <thread>
#include <utility>

namespace morvel {
namespace {

using namespace std::chrono_literals;
using bench::Server;

constexpr const char* settingsTitle = "Morvel Settings";

// What goes on while somebody types, on a thread of its own.
using Work = std::function<void(const std::stop_token&)>;

class Scene {
public:
    explicit Scene(Server server)
        : desktop({.sound = server == Server::pulseAudio, .unhurried = false})
        , sound(server, desktop.session) {
        // The toys move all the same, and only keys are heard.
        desktop.settings.write({{"module.fidget.enabled", false}});
    }

    bool start() {
        return desktop.start(sound.environment()) &&
               desktop.morvel->awaitLine(sound.announcement());
    }

    // How often the theme has been switched until now.
    std::size_t switches() {
        desktop.morvel->drain();
        return desktop.morvel->count("Active theme is now");
    }

    test::MorvelDesktop desktop;
    bench::ListenedServer sound;
    // Whether what went on beside could do so to the end.
    std::function<bool()> wentOn = [] { return true; };
};

// Brings about what is to go on, and answers it; nothing where it cannot.
using Load = std::function<std::optional<Work>(Scene&)>;

std::optional<Work> quiet(Scene& scene) {
    return scene.start() ? std::optional<Work>([](const std::stop_token&) {}) : std::nullopt;
}

// Something is always in motion: springs are still swinging when the next toy is used.
std::optional<Work> toysMove(Scene& scene) {
    const bool ready = scene.start() && scene.desktop.clickIcon();
    const auto drawer = ready ? scene.desktop.awaitDrawer() : std::nullopt;
    if (!drawer)
        return std::nullopt;
    scene.wentOn = [&scene] { return scene.desktop.isDrawerOpen(); };
    return [display = scene.desktop.session.display(),
            corner = drawer->topLeft()](const std::stop_token& done) {
        using test::DrawerPlaces;
        test::Pointer pointer(display);
        for (int round = 0; !done.stop_requested(); ++round) {
            pointer.click(corner + DrawerPlaces::bubble(round % 20));
            std::this_thread::sleep_for(40ms);
            pointer.click(corner + DrawerPlaces::toggleSwitch);
            std::this_thread::sleep_for(40ms);
            if (round % 20 == 19)
                pointer.click(corner + DrawerPlaces::reset);
            pointer.drag({corner + DrawerPlaces::onDial(round * 40),
                          corner + DrawerPlaces::onDial(round * 40 + 40)},
                         5);
        }
    };
}

std::optional<Work> drawerOpens(Scene& scene) {
    if (!scene.start())
        return std::nullopt;
    const QRect icon = scene.desktop.icon.await();
    // The module of windows is loaded with the first of them.
    if (icon.isEmpty() || !scene.desktop.clickIcon() || !scene.desktop.awaitDrawer())
        return std::nullopt;
    return [display = scene.desktop.session.display(), icon](const std::stop_token& done) {
        test::Pointer pointer(display);
        while (!done.stop_requested()) {
            std::this_thread::sleep_for(600ms); // longer than a double click and than it fades
            pointer.click(icon.center());
        }
    };
}

std::optional<QRect> settingsWindow(Scene& scene) {
    if (!scene.start() || !scene.desktop.startAgain("--settings"))
        return std::nullopt;
    const auto window = scene.desktop.windows.await(test::titled(settingsTitle));
    if (!window || !scene.desktop.windows.awaitFocus(test::titled(settingsTitle)))
        return std::nullopt;
    scene.wentOn = [&scene] {
        return scene.desktop.windows.find(test::titled(settingsTitle)).has_value();
    };
    return window->geometry;
}

// Where nothing but the page takes the wheel.
QPoint margin(const QRect& window) {
    return window.topLeft() + QPoint(5, 5);
}

std::optional<Work> settingsScroll(Scene& scene) {
    const auto window = settingsWindow(scene);
    if (!window)
        return std::nullopt;
    return [display = scene.desktop.session.display(),
            at = margin(*window)](const std::stop_token& done) {
        test::Pointer pointer(display);
        for (int turn = 0; !done.stop_requested(); ++turn) {
            pointer.wheel(at, turn / 20 % 2 == 0 ? -1 : 1);
            std::this_thread::sleep_for(30ms);
        }
    };
}

// The place of a control of the settings, once it is in view.
std::optional<QPoint> reveal(Scene& scene, test::Accessibility& controls, const QRect& window,
                             const std::string& name) {
    for (int turn = 0; turn < 40; ++turn) {
        const auto control = controls.await(settingsTitle, name);
        if (!control)
            return std::nullopt;
        if (window.contains(control->place))
            return control->place.center();
        scene.desktop.pointer.wheel(margin(window), -3);
        std::this_thread::sleep_for(100ms);
    }
    return std::nullopt;
}

// To and fro between the theme and a copy of it, which sounds the same.
std::optional<Work> themeSwitches(Scene& scene) {
    namespace fs = std::filesystem;
    const fs::path themes = fs::path(scene.desktop.session.home()) / ".local/share/Morvel/Themes";
    fs::create_directories(themes);
    fs::copy(fs::path(MORVEL_SOURCE_THEMES) / "mechanical", themes / "copy");
    test::Accessibility controls(scene.desktop.session);
    const auto window = settingsWindow(scene);
    if (!window)
        return std::nullopt;
    controls.follow(scene.desktop.pid());
    const std::string rest = ", by Morvel, All 32 categories";
    const auto copy = reveal(scene, controls, *window, "Mechanical, Installed" + rest);
    const auto original = reveal(scene, controls, *window, "Mechanical, Built-in" + rest);
    if (!copy || !original)
        return std::nullopt;
    return [display = scene.desktop.session.display(), copy = *copy,
            original = *original](const std::stop_token& done) {
        test::Pointer pointer(display);
        for (int turn = 0; !done.stop_requested(); ++turn) {
            pointer.click(turn % 2 == 0 ? copy : original);
            std::this_thread::sleep_for(700ms);
        }
    };
}

std::optional<Work> busyCore(Scene& scene) {
    if (!scene.start())
        return std::nullopt;
    return [](const std::stop_token& done) {
        while (!done.stop_requested())
            benchmark::DoNotOptimize(done);
    };
}

struct Take {
    bench::HeardTyping heard;
    std::size_t switches = 0; // of the theme
    bool wentOn = false;
};

Take typeBeside(Scene& scene, const Work& work) {
    constexpr std::size_t keys = 80;
    constexpr double secondsBetween = 0.045; // eleven keys a second
    const std::size_t switches = scene.switches();
    std::jthread beside(work);
    const auto recorded = scene.sound.record(scene.desktop.keys, bench::beat(keys, secondsBetween));
    const bool wentOn = scene.wentOn();
    beside = {};
    return {bench::compareWithTheme(recorded), scene.switches() - switches, wentOn};
}

void keyPressToSound(benchmark::State& state, const std::string& name, Server server,
                     const Load& load) {
    const bench::Application application;
    Scene scene(server);
    const auto work = load(scene);
    if (!work) {
        state.SkipWithError("Morvel did not start, or not what was to go on beside");
        return;
    }
    // Where the machine's pauses leave out more, the keys are typed again; a few times. What no
    // pause explains counts whichever take it is in.
    constexpr double mostLeftOut = 0.05;
    constexpr int mostTakes = 5;
    Take best;
    double leftOut = 1;
    std::size_t faults = 0;
    int takes = 0;
    for (auto _ : state)
        while (leftOut > mostLeftOut && takes < mostTakes) {
            ++takes;
            Take take = typeBeside(scene, *work);
            const double share =
                static_cast<double>(take.heard.leftOut) / static_cast<double>(take.heard.strokes);
            faults = std::max(faults, take.heard.wrong + take.heard.dropOuts);
            if (takes == 1 || share < leftOut)
                best = std::move(take);
            leftOut = std::min(leftOut, share);
        }
    if (!best.wentOn) {
        state.SkipWithError("what was to go on beside did not go on to the end");
        return;
    }
    if (leftOut > mostLeftOut) {
        state.SkipWithError("the machine paused too often");
        return;
    }
    const bench::HeardTyping& heard = best.heard;
    bench::Samples(heard.latenciesMs).report(state);
    state.counters["strokes"] = static_cast<double>(heard.strokes);
    state.counters["faults"] = static_cast<double>(faults);
    state.counters["wrong"] = static_cast<double>(heard.wrong);
    if (best.switches > 0)
        state.counters["wrong_a_switch"] =
            static_cast<double>(heard.wrong) / static_cast<double>(best.switches);
    state.counters["dropouts"] = static_cast<double>(heard.dropOuts);
    state.counters["takes"] = takes;
    state.counters["by_chance"] = heard.byChance;
    state.counters["pauses"] = static_cast<double>(heard.pauses);
    state.counters["left_out"] = static_cast<double>(heard.leftOut);
    state.counters["unmatched"] = static_cast<double>(heard.unmatched);
    state.counters["spoilt"] = static_cast<double>(heard.spoilt);
    bench::keep(name, heard.latenciesMs);
}

struct NamedLoad {
    const char* name;
    Load load;
};

const bool registered = [] {
    const NamedLoad loads[] = {{"Quiet", quiet},
                               {"ToysMove", toysMove},
                               {"DrawerOpens", drawerOpens},
                               {"SettingsScroll", settingsScroll},
                               {"ThemeSwitches", themeSwitches},
                               {"BusyCore", busyCore}};
    for (const Server server : {Server::pulseAudio, Server::pipeWire})
        for (const auto& [name, load] : loads) {
            const std::string through = server == Server::pipeWire ? "PipeWire" : "PulseAudio";
            const std::string whole = "KeyPressToSound" + through + name;
            benchmark::RegisterBenchmark(whole.c_str(), keyPressToSound, whole, server, load)
                ->Iterations(1);
        }
    return true;
}();

} // namespace
} // namespace morvel
