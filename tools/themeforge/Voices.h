// One function a kind of voice: from its parameters to a finished sound. Pure; any thread.
#pragma once

#include "tools/themeforge/Parameters.h"
#include "tools/themeforge/Random.h"
#include "tools/themeforge/Signal.h"

namespace morvel::forge {

StereoSignal render(const Strike& voice, Draws draws);
StereoSignal render(const Pop& voice, Draws draws);
StereoSignal render(const Whir& voice, Draws draws);

} // namespace morvel::forge
