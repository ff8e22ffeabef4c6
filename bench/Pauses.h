// What the machine's own pauses explain of what went wrong, and what they do not.
#pragma once

#include <cstdint>
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
    // A sound that is not there or not known again, about that time: paused for as long as a sound
    // server plays by itself, during it or during the one before, which is known again badly then.
    bool explainLoss(std::uint64_t time) const;
    // A hole in the sound: paused just before it for longer than the server's shortest block.
    bool explainHole(std::uint64_t time) const;

    // The part of the time between these, 0 to 1, at which a hole or a loss would be explained:
    // what pauses explain by chance.
    double partExplainingHoles(std::uint64_t begin, std::uint64_t end) const;
    double partExplainingLosses(std::uint64_t begin, std::uint64_t end) const;

private:
    double part(std::uint64_t begin, std::uint64_t end,
                bool (Pauses::*explains)(std::uint64_t) const) const;

    std::vector<MachinePause> pauses_; // ordered; none touches the next
};

} // namespace morvel::bench
