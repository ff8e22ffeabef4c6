// A small bell: a few sines that fade, each a pair that beats slowly as cast metal does.
#pragma once

#include "tools/themeforge/Parameters.h"
#include "tools/themeforge/Random.h"
#include "tools/themeforge/Signal.h"

namespace morvel::forge {

// The bell struck once within `length` frames, at any level. The phases are `take`'s.
Signal strike(const Bell& bell, std::size_t length, Random& take);

} // namespace morvel::forge
