// One function a kind of voice: from its parameters to a finished sound. Pure; any thread.
#pragma once

#include "tools/themeforge/Parameters.h"
#include "tools/themeforge/Random.h"
#include "tools/themeforge/Signal.h"

namespace morvel::forge {

// `design` must be the same stream for all variants of a category, `take` one of each variant's
// own.
StereoSignal render(const Strike& voice, Random design, Random take);
StereoSignal render(const Pop& voice, Random design, Random take);
StereoSignal render(const Whir& voice, Random design, Random take);

} // namespace morvel::forge
