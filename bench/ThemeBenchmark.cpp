// What themes cost: loading one with its fallback, reading its manifest, finding two hundred of
// them; and decoding beside the shortest loop that does the same. Budget: 60 ms a theme.

#include "bench/MechanicalTheme.h"
#include "bench/Samples.h"
#include "platform/SystemRandom.h"
#include "platform/simulated/SimulatedLog.h"
#include "tests/support/TemporaryFolder.h"
#include "themes/ThemeManifest.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sndfile.h>
#include <soxr.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <vector>

namespace morvel {
namespace {

namespace fs = std::filesystem;

const fs::path themes = MORVEL_SOURCE_THEMES;
constexpr const char* theme = "mechanical";

std::vector<fs::path> filesOf(const fs::path& folder) {
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        if (entry.is_regular_file())
            files.push_back(entry.path());
    return files;
}

// Takes the files out of the page cache, so that the next reader waits for the disk.
void forget(const std::vector<fs::path>& files) {
    for (const fs::path& file : files) {
        const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
        if (descriptor < 0)
            continue;
        fdatasync(descriptor);
        posix_fadvise(descriptor, 0, 0, POSIX_FADV_DONTNEED);
        close(descriptor);
    }
}

void load(benchmark::State& state, const std::function<void()>& prepare) {
    SystemRandom random;
    bench::Samples millis;
    for (auto _ : state) {
        prepare();
        SimulatedLog log;
        const auto start = bench::Time::now();
        const auto loaded = bench::loadMechanical(log, random);
        const double seconds = bench::secondsSince(start);
        if (!loaded) {
            state.SkipWithError("no theme");
            break;
        }
        state.SetIterationTime(seconds);
        millis.add(seconds / bench::milliseconds);
    }
    millis.report(state);
}

void LoadingAThemeWithItsFallback(benchmark::State& state) {
    load(state, [] {});
}
BENCHMARK(LoadingAThemeWithItsFallback)->UseManualTime()->Iterations(60);

void LoadingAThemeFromTheDisk(benchmark::State& state) {
    const auto files = filesOf(themes);
    load(state, [&] { forget(files); });
}
BENCHMARK(LoadingAThemeFromTheDisk)->UseManualTime()->Iterations(30);

void DecodingAManifest(benchmark::State& state) {
    const std::string text = readText(themes / theme / "manifest.json");
    bench::timed(state, 1, bench::microseconds, [&] {
        benchmark::DoNotOptimize(ThemeManifest::decode(text));
    }).report(state);
}
BENCHMARK(DecodingAManifest)->MinTime(0.3);

void FindingTwoHundredThemes(benchmark::State& state) {
    const TemporaryFolder folder;
    const fs::path first = folder / "theme-0";
    fs::copy(themes / theme, first);
    for (int i = 1; i < 200; ++i) {
        const fs::path copy = folder.folder(fmt::format("theme-{}", i));
        for (const fs::path& file : filesOf(first))
            fs::create_hard_link(file, copy / file.filename());
    }
    SimulatedLog log;
    const ThemeCatalog catalog(std::nullopt, folder.path(), log);
    std::size_t found = 0;
    bench::timed(state, 1, bench::milliseconds, [&] {
        found = catalog.discover().size();
    }).report(state);
    if (found != 200)
        state.SkipWithError("not all themes were found");
}
BENCHMARK(FindingTwoHundredThemes)->Iterations(5);

// What reads any audio file into stereo at 44,100 Hz in the fewest lines.
std::size_t decodePlainly(const fs::path& file) {
    SF_INFO info = {};
    SNDFILE* const sound = sf_open(file.c_str(), SFM_READ, &info);
    if (sound == nullptr)
        return 0;
    const auto frames = static_cast<std::size_t>(info.frames);
    const auto channels = static_cast<std::size_t>(info.channels);
    std::vector<float> samples(frames * channels);
    sf_readf_float(sound, samples.data(), info.frames);
    const double rate = info.samplerate;
    sf_close(sound);
    if (rate != canonicalFormat.sampleRate) {
        std::vector<float> converted(
            static_cast<std::size_t>(static_cast<double>(frames) * 44100 / rate + 1) * channels);
        const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
        std::size_t done = 0;
        soxr_oneshot(rate, 44100, info.channels == 1 ? 1U : 2U, samples.data(), frames, nullptr,
                     converted.data(), converted.size() / channels, &done, nullptr, &quality,
                     nullptr);
        converted.resize(done * channels);
        samples = std::move(converted);
    }
    PcmBuffer buffer;
    const std::size_t length = samples.size() / channels;
    for (std::size_t side = 0; side < 2; ++side) {
        buffer.channels[side].resize(length);
        for (std::size_t i = 0; i < length; ++i)
            buffer.channels[side][i] = samples[i * channels + side % channels];
    }
    benchmark::DoNotOptimize(buffer.channels[0].data());
    return length;
}

// The same recordings, as if they had been made at another rate.
void copyAtRate(const fs::path& from, const fs::path& to, int rate) {
    fs::create_directories(to);
    for (const fs::path& file : filesOf(from)) {
        SF_INFO info = {};
        SNDFILE* const sound = sf_open(file.c_str(), SFM_READ, &info);
        if (sound == nullptr) {
            fs::copy(file, to / file.filename());
            continue;
        }
        const sf_count_t frames = info.frames; // opening a file to write to empties it
        std::vector<float> samples(static_cast<std::size_t>(frames * info.channels));
        sf_readf_float(sound, samples.data(), frames);
        sf_close(sound);
        info.samplerate = rate;
        SNDFILE* const copy = sf_open((to / file.filename()).c_str(), SFM_WRITE, &info);
        sf_writef_float(copy, samples.data(), frames);
        sf_close(copy);
    }
}

// Turn by turn, so that both have the same machine. The loop decodes every file of the folder; the
// theme reads its manifest, too, and believes no file.
void decodeBesideALoop(benchmark::State& state, const fs::path& folder) {
    SystemRandom random;
    SimulatedLog log;
    ThemeDescriptor descriptor;
    descriptor.id = folder.filename().string();
    descriptor.directory = folder;
    const auto files = filesOf(folder);
    bench::Samples ours;
    bench::Samples loops;
    bench::Samples ratios;
    for (auto _ : state) {
        auto start = bench::Time::now();
        const auto loaded = SoundTheme::load(descriptor, nullptr, log, random);
        const double own = bench::secondsSince(start);
        start = bench::Time::now();
        std::size_t frames = 0;
        for (const fs::path& file : files)
            if (file.extension() != ".json")
                frames += decodePlainly(file);
        const double loop = bench::secondsSince(start);
        if (!loaded || frames == 0) {
            state.SkipWithError("no theme");
            break;
        }
        ours.add(own / bench::milliseconds);
        loops.add(loop / bench::milliseconds);
        ratios.add(loop / own);
    }
    ratios.reportReached(state);
    state.counters["ours_ms"] = ours.at(0.5);
    state.counters["loop_ms"] = loops.at(0.5);
}

void DecodingAThemeBesideAPlainLoop(benchmark::State& state) {
    decodeBesideALoop(state, themes / theme);
}
BENCHMARK(DecodingAThemeBesideAPlainLoop)->Iterations(30);

void ConvertingAThemeBesideAPlainLoop(benchmark::State& state) {
    const TemporaryFolder folder;
    copyAtRate(themes / theme, folder / theme, 48000);
    decodeBesideALoop(state, folder / theme);
}
BENCHMARK(ConvertingAThemeBesideAPlainLoop)->Iterations(10);

} // namespace
} // namespace morvel
