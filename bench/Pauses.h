// What the machine's own pauses explain of what went wrong, and what they do not.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace morvel::bench {

// A time in which a processor ran nothing, or nothing but threads of sound; nanoseconds of the
// steady clock.
struct MachinePause {
    std::uint64_t begin;
    std::uint64_t end;
};

// All times are nanoseconds of the steady clock.
class Pauses {
public:
    // Of all processors, in any order.
    explicit Pauses(std::vector<MachinePause> pauses);

    // How long any processor was paused between these times.
    std::uint64_t within(std::uint64_t begin, std::uint64_t end) const;

    // A sound that began later after its stroke than is usual, by more than a millisecond: paused
    // for about as long as it was late.
    bool explainDelay(std::uint64_t stroke, std::uint64_t onset, std::uint64_t usual) const;
    // A hole in the sound: paused just before it for as long as the server's shortest block.
    bool explainHole(std::uint64_t time) const;
    // The part of the time between these, 0 to 1, in which a hole would be explained: what pauses
    // explain by chance.
    double partExplainingHoles(std::uint64_t begin, std::uint64_t end) const;

private:
    std::vector<MachinePause> pauses_; // ordered; none touches the next
};

// Whether a sound that is not there, or not known again, about `time` is one of those that the
// holes at `holes` are in.
bool spoiltByHole(std::uint64_t time, std::span<const std::uint64_t> holes);

} // namespace morvel::bench
