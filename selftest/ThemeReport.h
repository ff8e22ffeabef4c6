// What a theme has to offer, as log lines: how each category resolves, and how loud its own are.
// Main thread.
#pragma once

#include "platform/Log.h"
#include "themes/SoundTheme.h"

#include <string_view>

namespace morvel {

// A line for every category, a line of counts, and a line for each class but the exact one with the
// names of its categories. `prefix` begins every line.
void reportResolution(const SoundTheme& theme, Log& log, std::string_view prefix);

// A line for every category that the theme holds itself: the largest sample, times the gain, among
// enough draws to have met every variant, and the frames of the longest. Then a line for the
// loudest of them, where there is one.
void reportPeaks(const SoundTheme& theme, Log& log, std::string_view prefix);

} // namespace morvel
