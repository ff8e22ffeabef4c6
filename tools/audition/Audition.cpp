#include "tools/audition/Audition.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <thread>
#include <utility>

namespace morvel::audition {

std::vector<MadeStroke> perform(KeyInjector& keys, const std::vector<KeyStroke>& script) {
    std::vector<MadeStroke> made;
    made.reserve(script.size());
    using Time = std::chrono::steady_clock;
    const auto seconds = [](double value) {
        return std::chrono::duration_cast<Time::duration>(std::chrono::duration<double>(value));
    };
    const Time::time_point start = Time::now();
    Time::time_point earliest = start;
    for (const KeyStroke& stroke : script) {
        // A busy machine may make one stroke late; the next one keeps its distance all the same.
        std::this_thread::sleep_until(
            std::max(earliest, start + seconds(stroke.at - script.front().at)));
        const std::uint64_t at =
            stroke.pressed ? keys.press(stroke.keysym) : keys.release(stroke.keysym);
        made.push_back({stroke, at});
        earliest = Time::now() + seconds(closestStrokes);
    }
    return made;
}

double Comparison::percentile(double share) const {
    if (latenciesMs.empty())
        return 0;
    std::vector<double> sorted = latenciesMs;
    std::sort(sorted.begin(), sorted.end());
    const auto last = static_cast<double>(sorted.size() - 1);
    return sorted[static_cast<std::size_t>(std::lround(share * last))];
}

Comparison compare(const std::vector<MadeStroke>& strokes, const std::vector<HeardSound>& heard,
                   const MonitorRecording& recording, double leastCorrelation, double latestMs) {
    Comparison result;
    std::size_t next = 0;
    const auto soundedAt = [&](const HeardSound& sound) {
        return recording.hostNanos(sound.onset);
    };
    const auto describe = [](const HeardSound& sound) {
        return fmt::format("'{}' (correlation {:.3f}, rate {:.4f}, level {:.2f})",
                           rawValue(sound.category), sound.correlation, sound.rate, sound.level);
    };
    for (std::size_t i = 0; i < strokes.size(); ++i) {
        const auto& [stroke, at] = strokes[i];
        if (!stroke.sound)
            continue;
        const std::string what = fmt::format("{:.3f} s, '{}'", stroke.at, rawValue(*stroke.sound));
        // A sound before its cause belongs to nothing; the resolution of the clocks is forgiven.
        while (next < heard.size() && soundedAt(heard[next]) + 2000000 < at)
            result.complaints.push_back("superfluous: " + describe(heard[next++]));
        const double latencyMs =
            next < heard.size()
                ? (static_cast<double>(soundedAt(heard[next])) - static_cast<double>(at)) / 1e6
                : latestMs + 1;
        if (latencyMs > latestMs) {
            result.complaints.push_back(what + ": no sound");
            continue;
        }
        const HeardSound& sound = heard[next++];
        if (sound.category != *stroke.sound || sound.correlation < leastCorrelation) {
            result.complaints.push_back(what + ": heard " + describe(sound));
            continue;
        }
        ++(stroke.pressed ? result.presses : result.releases);
        result.latenciesMs.push_back(latencyMs);
    }
    for (; next < heard.size(); ++next)
        result.complaints.push_back("superfluous: " + describe(heard[next]));
    return result;
}

std::vector<std::size_t> dropOuts(std::span<const float> interleaved) {
    constexpr std::size_t shortest = 16;  // frames; below it the samples may be zero by themselves
    constexpr std::size_t longest = 2205; // frames, 50 ms
    constexpr float sounding = 0.004F;    // a sound that ends by itself is below this at its end
    std::vector<std::size_t> holes;
    const std::size_t frames = interleaved.size() / 2;
    const auto level = [&](std::size_t frame) {
        return std::max(std::abs(interleaved[2 * frame]), std::abs(interleaved[2 * frame + 1]));
    };
    for (std::size_t begin = 1; begin < frames; ++begin) {
        if (level(begin) > 0 || level(begin - 1) < sounding)
            continue;
        std::size_t end = begin;
        while (end < frames && !(level(end) > 0))
            ++end;
        // A sound that is cut short by its own end does not go on.
        if (end - begin >= shortest && end - begin <= longest && end < frames &&
            level(end) >= sounding)
            holes.push_back(begin);
        begin = end;
    }
    return holes;
}

std::size_t stalls(const MonitorRecording& recording) {
    constexpr double longest = 0.02; // seconds beyond what the frames last
    std::size_t count = 0;
    for (std::size_t i = 1; i < recording.arrivals.size(); ++i) {
        const auto& before = recording.arrivals[i - 1];
        const auto& arrival = recording.arrivals[i];
        const double lasts = static_cast<double>(arrival.endFrame - before.endFrame) / 44100;
        const double waited = static_cast<double>(arrival.hostNanos - before.hostNanos) / 1e9;
        count += waited > lasts + longest ? 1U : 0U;
    }
    return count;
}

Take takeTyping(KeyInjector& keys, const std::vector<KeyStroke>& script, const std::string& source,
                const std::string& server, const std::function<void(std::size_t)>& spoilt) {
    constexpr double sectionSeconds = 4;
    constexpr int mostTakes = 10;
    constexpr std::size_t ringing = 30000; // frames in which the last sound dies away
    Take whole;
    for (const auto& section : sections(script, sectionSeconds)) {
        Take best;
        std::size_t fewest = std::numeric_limits<std::size_t>::max();
        for (int take = 1; fewest > 0 && take <= mostTakes; ++take) {
            MonitorRecorder recorder(source, server);
            auto strokes = perform(keys, section);
            recorder.await(recorder.frameLength() + ringing);
            MonitorRecording recording = recorder.finish();
            const std::size_t faults = dropOuts(recording.interleaved).size() + stalls(recording);
            if (faults > 0 && take < mostTakes && spoilt)
                spoilt(faults);
            if (faults < fewest) {
                fewest = faults;
                best = {std::move(strokes), std::move(recording)};
            }
        }
        whole.strokes.insert(whole.strokes.end(), best.strokes.begin(), best.strokes.end());
        whole.recording.append(best.recording);
    }
    return whole;
}

} // namespace morvel::audition
