// Draws that a test chose.
#pragma once

#include "platform/RandomSource.h"

#include <atomic>
#include <cstddef>
#include <utility>
#include <vector>

namespace morvel {

// Answers the given draws one after another and then from the first again, each limited to the
// bound asked for.
class ScriptedRandom : public RandomSource {
public:
    explicit ScriptedRandom(std::vector<std::uint32_t> draws)
        : draws_(std::move(draws)) {}

    std::uint32_t uniform(std::uint32_t upperBound) override {
        const std::uint32_t draw = draws_[next_++ % draws_.size()];
        return draw < upperBound ? draw : upperBound;
    }

private:
    std::vector<std::uint32_t> draws_;
    std::atomic<std::size_t> next_ = 0;
};

} // namespace morvel
