// From one channel to a file: the reflections and the tail of the housing, and the finish.
#pragma once

#include "tools/themeforge/Parameters.h"
#include "tools/themeforge/Random.h"
#include "tools/themeforge/Signal.h"

namespace morvel::forge {

// Puts a dry sound into its housing. The reflections of the case are the category's own (`design`),
// those of the room the theme's (`room`), and the noise of the tail is the variant's (`take`).
StereoSignal house(const Signal& dry, const Housing& housing, Draws& draws);

// Filters, fades and levels: what is left is a finished sound of `output.lengthMs`. `loudnessDb`
// stands in for the output's own, so that variants may differ.
void finish(StereoSignal& sound, const Output& output, double loudnessDb);

} // namespace morvel::forge
