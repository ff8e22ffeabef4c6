#include "platform/SystemRandom.h"

#include <random>

namespace morvel {

std::uint32_t SystemRandom::uniform(std::uint32_t upperBound) {
    thread_local std::mt19937 generator{std::random_device{}()};
    return std::uniform_int_distribution<std::uint32_t>{0, upperBound}(generator);
}

} // namespace morvel
