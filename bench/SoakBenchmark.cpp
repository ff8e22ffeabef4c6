// Somebody who types for ten minutes without a pause, 15 keys a second: every stroke is to be
// heard, as soon in the last minute as in the first one, and memory is not to grow.

#include "bench/Application.h"
#include "bench/HeardTyping.h"
#include "bench/Results.h"
#include "bench/Samples.h"
#include "tests/desktop/MorvelDesktop.h"
#include "tests/support/ProcessMemory.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <future>
#include <string>
#include <vector>

namespace morvel {
namespace {

constexpr double keysASecond = 15;

// Seconds; the environment may ask for fewer.
double soakLength() {
    const char* const asked = std::getenv("MORVEL_SOAK_SECONDS");
    return asked != nullptr ? std::strtod(asked, nullptr) : 600;
}

struct Minute {
    bench::ListenedServer::Take take;
    bench::HeardTyping heard;
    double residentMB = 0;
};

// Recordings are compared when all are made, so that nothing runs beside the typing.
void compareAll(std::vector<Minute>& minutes) {
    std::atomic<std::size_t> next = 0;
    const auto work = [&] {
        for (std::size_t i = next++; i < minutes.size(); i = next++) {
            minutes[i].heard = bench::compareWithTheme(minutes[i].take);
            minutes[i].take = {};
        }
    };
    auto other = std::async(std::launch::async, work);
    work();
    other.get();
}

double medianOf(const std::vector<double>& values) {
    return bench::Samples(values).at(0.5);
}

void report(benchmark::State& state, const std::string& name, const std::vector<Minute>& minutes) {
    std::vector<double> all;
    std::vector<double> medians;
    std::vector<double> resident;
    std::size_t strokes = 0;
    std::size_t wrong = 0;
    std::size_t dropOuts = 0;
    std::size_t pauses = 0;
    std::size_t leftOut = 0;
    std::size_t spoilt = 0;
    std::size_t unmatched = 0;
    double byChance = 0;
    for (const Minute& minute : minutes) {
        all.insert(all.end(), minute.heard.latenciesMs.begin(), minute.heard.latenciesMs.end());
        medians.push_back(medianOf(minute.heard.latenciesMs));
        resident.push_back(minute.residentMB);
        strokes += minute.heard.strokes;
        wrong += minute.heard.wrong;
        dropOuts += minute.heard.dropOuts;
        pauses += minute.heard.pauses;
        leftOut += minute.heard.leftOut;
        spoilt += minute.heard.spoilt;
        unmatched += minute.heard.unmatched;
        byChance += minute.heard.byChance;
    }
    bench::Samples(all).report(state);
    const auto [lowest, highest] = std::ranges::minmax(medians);
    state.counters["minutes"] = static_cast<double>(minutes.size());
    state.counters["strokes"] = static_cast<double>(strokes);
    state.counters["wrong"] = static_cast<double>(wrong);
    state.counters["dropouts"] = static_cast<double>(dropOuts);
    state.counters["pauses"] = static_cast<double>(pauses);
    state.counters["left_out_percent"] =
        100 * static_cast<double>(leftOut) / static_cast<double>(strokes);
    state.counters["unmatched"] = static_cast<double>(unmatched);
    state.counters["spoilt"] = static_cast<double>(spoilt);
    state.counters["by_chance_percent"] = 100 * byChance / static_cast<double>(minutes.size());
    if (minutes.size() > 1) { // of one minute there is neither
        state.counters["growth_MB"] = resident.back() - resident.front();
        state.counters["drift_ms"] = medians.back() - medians.front();
    }
    state.counters["spread_ms"] = highest - lowest;
    bench::keep(name + "Medians", medians);
    bench::keep(name + "Resident", resident);
}

void typingSoak(benchmark::State& state, const std::string& name, bench::Server through) {
    const bench::Application application;
    test::MorvelDesktop desktop(
        {.sound = through == bench::Server::pulseAudio, .unhurried = false});
    const bench::ListenedServer server(through, desktop.session);
    if (!desktop.start(server.environment()) || !desktop.morvel->awaitLine(server.announcement())) {
        state.SkipWithError("Morvel did not start");
        return;
    }
    for (auto _ : state) {
        std::vector<Minute> minutes;
        for (double left = soakLength(); left > 0; left -= 60) {
            const double seconds = std::min(left, 60.0);
            const auto keys = static_cast<std::size_t>(seconds * keysASecond);
            minutes.push_back(
                {server.record(desktop.keys, bench::beat(keys, 0.5 / keysASecond)), {}, 0});
            minutes.back().residentMB =
                static_cast<double>(test::memoryOf(desktop.pid()).resident) / 1e6;
            state.counters["watched"] = minutes.back().take.watched;
            fmt::print("          minute {}: {} strokes, {:.1f} MB resident\n", minutes.size(),
                       minutes.back().take.strokes.size(), minutes.back().residentMB);
            std::fflush(stdout);
        }
        if (minutes.empty()) {
            state.SkipWithError("no time to type in");
            return;
        }
        compareAll(minutes);
        report(state, name, minutes);
    }
}
BENCHMARK_CAPTURE(typingSoak, PulseAudio, "TypingSoak", bench::Server::pulseAudio)
    ->Name("TypingSoak")
    ->Iterations(1);
BENCHMARK_CAPTURE(typingSoak, PipeWire, "TypingSoakPipeWire", bench::Server::pipeWire)
    ->Name("TypingSoakPipeWire")
    ->Iterations(1);

} // namespace
} // namespace morvel
