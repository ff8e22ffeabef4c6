// Modal synthesis: a body as a bank of damped resonators.
#pragma once

#include "tools/themeforge/Parameters.h"
#include "tools/themeforge/Random.h"
#include "tools/themeforge/Signal.h"

#include <vector>

namespace morvel::forge {

struct Mode {
    double hz;
    double q;
    double gain; // amplitude, and sign, of its response to a unit impulse
};

// The modes of a group: evenly spread over the octaves of its range, each displaced at random
// within its share. `design` is drawn alike for every variant of a category, `take` anew for each.
std::vector<Mode> designModes(const ModeGroup& group, double tuning, const Variation& variation,
                              Random& design, Random& take);

// Partials of a spring: thin, unevenly spaced, and alike in every variant but for their levels.
std::vector<Mode> designPartials(const Spring& spring, const Variation& variation, Random& design,
                                 Random& take);

// What the modes make of an excitation, as long as the excitation.
Signal ring(const Signal& excitation, const std::vector<Mode>& modes);

} // namespace morvel::forge
