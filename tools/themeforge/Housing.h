// From one channel to a file: the reflections and the tail of the housing, and the finish.
#pragma once

#include "tools/themeforge/Parameters.h"
#include "tools/themeforge/Random.h"
#include "tools/themeforge/Signal.h"

namespace morvel::forge {

// Puts a dry sound into its housing. The reflections are the category's own (`design`), the noise
// of the tail belongs to the variant (`take`).
StereoSignal house(const Signal& dry, const Housing& housing, Random& design, Random& take);

// Filters, fades and levels: what is left is a finished sound of `output.lengthMs`. `loudnessDb`
// stands in for the output's own, so that variants may differ.
void finish(StereoSignal& sound, const Output& output, double loudnessDb);

} // namespace morvel::forge
