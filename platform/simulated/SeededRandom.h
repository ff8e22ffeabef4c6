// Draws that look like chance and are the same every time.
#pragma once

#include "platform/RandomSource.h"

#include <cstdint>
#include <random>

namespace morvel {

// One thread at a time. The same seed gives the same draws on every system: the generator is
// specified to the bit, and the rest is whole numbers.
class SeededRandom : public RandomSource {
public:
    explicit SeededRandom(std::uint32_t seed)
        : generator_(seed) {}

    std::uint32_t uniform(std::uint32_t upperBound) override {
        const std::uint64_t count = std::uint64_t{upperBound} + 1;
        return static_cast<std::uint32_t>((std::uint64_t{generator_()} * count) >> 32);
    }

private:
    std::mt19937 generator_;
};

} // namespace morvel
