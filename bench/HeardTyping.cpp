#include "bench/HeardTyping.h"

#include "bench/MechanicalTheme.h"
#include "bench/Samples.h"
#include "platform/SystemRandom.h"
#include "platform/simulated/SimulatedLog.h"
#include "tests/support/PipeWireRecorder.h"
#include "tests/support/PulseServer.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <stdexcept>

namespace morvel::bench {

namespace {

// What is listened for: the fewer sounds, the less work.
std::vector<SoundCategory> soundsOf(const std::vector<audition::MadeStroke>& strokes) {
    std::set<SoundCategory> categories;
    for (const auto& [stroke, at] : strokes)
        if (stroke.sound)
            categories.insert(*stroke.sound);
    return {categories.begin(), categories.end()};
}

// Which sound belongs to which stroke, in order of time: as many as fit, and those that make the
// latencies smallest. Up to a fifth of a second it counts as late, and not as lost.
class Alignment {
public:
    Alignment(const std::vector<audition::MadeStroke>& strokes,
              const std::vector<audition::HeardSound>& heard,
              const audition::MonitorRecording& recording)
        : strokes_(strokes)
        , heard_(heard)
        , columns_(heard.size() + 1)
        , costs_((strokes.size() + 1) * columns_) {
        for (const audition::HeardSound& sound : heard)
            times_.push_back(static_cast<double>(recording.hostNanos(sound.onset)) / 1e6);
        for (std::size_t i = 0; i <= strokes.size(); ++i)
            for (std::size_t j = 0; j < columns_; ++j)
                cost(i, j) = cheapest(i, j);
    }

    struct Pair {
        std::size_t stroke;
        std::size_t sound;
    };
    std::vector<Pair> pairs() const {
        std::vector<Pair> result;
        std::size_t i = strokes_.size();
        std::size_t j = heard_.size();
        while (i > 0 && j > 0) {
            const double latency = latencyMs(i - 1, j - 1);
            if (cost(i, j) == cost(i - 1, j - 1) + std::abs(latency)) {
                result.push_back({i - 1, j - 1});
                --i;
                --j;
            } else if (cost(i, j) == cost(i - 1, j) + unmatched) {
                --i;
            } else {
                --j;
            }
        }
        return {result.rbegin(), result.rend()};
    }

    // Endless where they do not belong together.
    double latencyMs(std::size_t stroke, std::size_t sound) const {
        constexpr double leastCorrelation = 0.6;
        constexpr double clocks = -2; // their resolution
        const double latency =
            times_[sound] - static_cast<double>(strokes_[stroke].hostNanos) / 1e6;
        const bool fits = strokes_[stroke].stroke.sound == heard_[sound].category &&
                          heard_[sound].correlation >= leastCorrelation && latency >= clocks;
        return fits ? latency : std::numeric_limits<double>::infinity();
    }

private:
    // What a stroke without a sound costs, and a sound without a stroke, in milliseconds.
    static constexpr double unmatched = 100;

    double& cost(std::size_t i, std::size_t j) { return costs_[i * columns_ + j]; }
    double cost(std::size_t i, std::size_t j) const { return costs_[i * columns_ + j]; }

    double cheapest(std::size_t i, std::size_t j) const {
        if (i == 0 || j == 0)
            return unmatched * static_cast<double>(i + j);
        return std::min({cost(i - 1, j) + unmatched, cost(i, j - 1) + unmatched,
                         cost(i - 1, j - 1) + std::abs(latencyMs(i - 1, j - 1))});
    }

    const std::vector<audition::MadeStroke>& strokes_;
    const std::vector<audition::HeardSound>& heard_;
    std::vector<double> times_;
    std::size_t columns_;
    std::vector<double> costs_;
};

template <typename Recorder>
ListenedServer::Take recordWith(Recorder& recorder, audition::KeyInjector& keys,
                                const std::vector<audition::KeyStroke>& script) {
    constexpr std::size_t ringing = 30000; // frames in which the last sound dies away
    const MachineWatch machine;
    auto strokes = audition::perform(keys, script);
    recorder.await(recorder.frameLength() + ringing);
    return {std::move(strokes), recorder.finish(), machine.pauses(), machine.watched()};
}

} // namespace

std::vector<audition::KeyStroke> beat(std::size_t keys, double secondsBetween) {
    std::vector<audition::KeyStroke> script;
    for (std::size_t i = 0; i < keys; ++i) {
        const auto key = static_cast<xkb_keysym_t>(XKB_KEY_a + i % 26);
        const double at = 2 * static_cast<double>(i) * secondsBetween;
        script.push_back({at, key, true, SoundCategory::alphaDown});
        script.push_back({at + secondsBetween, key, false, SoundCategory::alphaUp});
    }
    return script;
}

HeardTyping compareWithTheme(const ListenedServer::Take& take) {
    SystemRandom random;
    SimulatedLog log;
    const auto theme = loadMechanical(log, random);
    if (!theme)
        throw std::runtime_error("no theme");
    const auto categories = soundsOf(take.strokes);
    const audition::SoundMatcher matcher(*theme, categories);
    const auto heard = matcher.listen(take.recording.interleaved);
    const Alignment alignment(take.strokes, heard, take.recording);
    const Pauses pauses(take.pauses);
    const auto onset = [&](const audition::HeardSound& sound) {
        return take.recording.hostNanos(sound.onset);
    };

    HeardTyping result;
    result.strokes = take.strokes.size();
    result.pauses = take.pauses.size();
    const auto pairs = alignment.pairs();
    Samples all;
    for (const auto& [stroke, sound] : pairs)
        all.add(alignment.latencyMs(stroke, sound));
    const auto usual = static_cast<std::uint64_t>(std::max(all.at(0.5), 0.0) * 1e6);
    std::vector<bool> found(take.strokes.size());
    std::vector<bool> expected(heard.size());
    for (const auto& [stroke, sound] : pairs) {
        found[stroke] = expected[sound] = true;
        if (pauses.explainDelay(take.strokes[stroke].hostNanos, onset(heard[sound]), usual))
            ++result.leftOut;
        else
            result.latenciesMs.push_back(alignment.latencyMs(stroke, sound));
    }
    std::vector<std::uint64_t> explainedHoles;
    for (const std::size_t hole : audition::dropOuts(take.recording.interleaved)) {
        const std::uint64_t time = take.recording.hostNanos(hole);
        ++result.spoilt;
        if (pauses.explainHole(time))
            explainedHoles.push_back(time);
    }
    result.dropOuts = result.spoilt - explainedHoles.size();
    if (const std::size_t frames = take.recording.frameLength(); frames > 0)
        result.byChance = pauses.partExplainingHoles(take.recording.hostNanos(0),
                                                     take.recording.hostNanos(frames - 1));
    const auto countUnmatched = [&](std::uint64_t time) {
        ++result.unmatched;
        result.wrong += spoiltByHole(time, explainedHoles) ? 0 : 1;
    };
    for (std::size_t i = 0; i < found.size(); ++i)
        if (!found[i])
            countUnmatched(take.strokes[i].hostNanos);
    for (std::size_t i = 0; i < expected.size(); ++i)
        if (!expected[i])
            countUnmatched(onset(heard[i]));
    return result;
}

ListenedServer::ListenedServer(Server server, test::DesktopSession& session)
    : session_(session) {
    if (server != Server::pipeWire)
        return;
    pipeWire_ = std::make_unique<test::PipeWireServer>(session.home() + "/pipewire");
    pipeWire_->start();
}

std::vector<std::string> ListenedServer::environment() const {
    if (!pipeWire_)
        return {};
    return {"PIPEWIRE_RUNTIME_DIR=" + pipeWire_->runtimeFolder()};
}

std::string ListenedServer::announcement() const {
    return pipeWire_ ? "Audio output: PipeWire" : "Audio output: PulseAudio";
}

ListenedServer::Take ListenedServer::record(audition::KeyInjector& keys,
                                            const std::vector<audition::KeyStroke>& script) const {
    if (pipeWire_) {
        test::PipeWireRecorder recorder(test::PipeWireServer::speaker, pipeWire_->address());
        return recordWith(recorder, keys, script);
    }
    audition::MonitorRecorder recorder(test::PulseServer::monitor, session_.sound().address());
    return recordWith(recorder, keys, script);
}

} // namespace morvel::bench
