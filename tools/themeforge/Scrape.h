// Friction: the noise of parts that slide past each other, evenly or tooth by tooth.
#pragma once

#include "tools/themeforge/Parameters.h"
#include "tools/themeforge/Random.h"
#include "tools/themeforge/Signal.h"

namespace morvel::forge {

// One pass within `length` frames, at any level.
Signal scrape(const Scrape& scrape, std::size_t length, Random& take);

} // namespace morvel::forge
