// A generator of its own for each thread, seeded from the kernel: no lock and no system call once
// a thread has drawn for the first time.
#pragma once

#include "platform/RandomSource.h"

namespace morvel {

class SystemRandom : public RandomSource {
public:
    std::uint32_t uniform(std::uint32_t upperBound) override;
};

} // namespace morvel
