// Blows: what makes the bodies ring.
#pragma once

#include "tools/themeforge/Parameters.h"
#include "tools/themeforge/Random.h"
#include "tools/themeforge/Signal.h"

namespace morvel::forge {

// One blow of unit energy: a raised-cosine pulse, and noise that rises during the contact and then
// decays, mixed by energy.
Signal blow(const Exciter& exciter, Random& random);

// A train of blows, each with noise of its own, over `length` frames. Times and levels stray within
// `variation`; the first impact keeps its time.
Signal excitation(const Exciter& exciter, const std::vector<Impact>& impacts,
                  const Variation& variation, std::size_t length, Random& random);

} // namespace morvel::forge
