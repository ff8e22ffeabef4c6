#include "bench/Pauses.h"

#include <algorithm>
#include <utility>

namespace morvel::bench {

namespace {

constexpr std::uint64_t millisecond = 1'000'000; // ns
// How far the clocks of strokes and of recordings may be apart.
constexpr std::uint64_t clocks = 2 * millisecond;
// What comes to a recorder at a time.
constexpr std::uint64_t piece = 10 * millisecond;
// What a sound is known by.
constexpr std::uint64_t body = 60 * millisecond;
// What PulseAudio plays at a time where it is asked for little: 32 frames.
constexpr std::uint64_t shortestBlock = 726'000;

// Times before the clock's beginning are its beginning.
std::uint64_t before(std::uint64_t time, std::uint64_t span) {
    return time - std::min(time, span);
}

} // namespace

Pauses::Pauses(std::vector<MachinePause> pauses) {
    std::ranges::sort(pauses, {}, &MachinePause::begin);
    for (const MachinePause& pause : pauses)
        if (!pauses_.empty() && pause.begin <= pauses_.back().end)
            pauses_.back().end = std::max(pauses_.back().end, pause.end);
        else
            pauses_.push_back(pause);
}

std::uint64_t Pauses::within(std::uint64_t begin, std::uint64_t end) const {
    std::uint64_t sum = 0;
    const auto first = std::ranges::upper_bound(pauses_, begin, {}, &MachinePause::end);
    for (auto pause = first; pause != pauses_.end() && pause->begin < end; ++pause) {
        const std::uint64_t from = std::max(pause->begin, begin);
        const std::uint64_t to = std::min(pause->end, end);
        sum += from < to ? to - from : 0;
    }
    return sum;
}

bool Pauses::explainDelay(std::uint64_t stroke, std::uint64_t onset, std::uint64_t usual) const {
    const std::uint64_t expected = stroke + usual + millisecond;
    return onset > expected && within(before(stroke, clocks), onset + piece) >= onset - expected;
}

bool Pauses::explainHole(std::uint64_t time) const {
    return within(before(time, piece), time + clocks) >= shortestBlock;
}

double Pauses::partExplainingHoles(std::uint64_t begin, std::uint64_t end) const {
    std::uint64_t explained = 0;
    std::uint64_t all = 0;
    for (std::uint64_t time = begin; time < end; time += millisecond, ++all)
        explained += explainHole(time) ? 1 : 0;
    return all == 0 ? 0 : static_cast<double>(explained) / static_cast<double>(all);
}

bool spoiltByHole(std::uint64_t time, std::span<const std::uint64_t> holes) {
    return std::ranges::any_of(
        holes, [&](std::uint64_t hole) { return hole + body > time && hole < time + body; });
}

} // namespace morvel::bench
