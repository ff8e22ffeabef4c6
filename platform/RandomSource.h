// Randomness, injected so that every test of it is deterministic. Adapters:
// platform/SystemRandom.h (the system's generator), platform/simulated (a scripted list, or chance
// from a seed).
#pragma once

#include <cstdint>

namespace morvel {

class RandomSource {
public:
    virtual ~RandomSource() = default;

    // A uniform draw from 0 to `upperBound` inclusive. Any thread; no lock, no allocation.
    virtual std::uint32_t uniform(std::uint32_t upperBound) = 0;
};

} // namespace morvel
