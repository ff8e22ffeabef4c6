// The generator's own random numbers: the same parameters must give the same bytes on every machine
// and with every standard library, so nothing here depends on an unspecified algorithm.
//
// Every sound, and every part of it that should stay put while another changes, draws from a stream
// of its own name; adding a category never alters the sound of another.
#pragma once

#include <cstdint>
#include <string_view>

namespace morvel::forge {

// PCG32: 64 bits of state, an output permutation of xorshift and rotation.
class Random {
public:
    Random(std::uint64_t seed, std::uint64_t sequence);

    // The stream called `name` of the theme with this seed.
    static Random named(std::uint64_t seed, std::string_view name);

    std::uint32_t next();

    double uniform(); // 0 to 1, 1 excluded
    double bipolar(); // -1 to 1, 1 excluded

private:
    std::uint64_t m_state = 0;
    std::uint64_t m_increment;
};

// What one sound draws from. `room` is the same stream for all sounds of a theme, `design` for all
// variants of a category; `take` is one of each variant's own.
struct Draws {
    Random design;
    Random take;
    Random room;
};

} // namespace morvel::forge
