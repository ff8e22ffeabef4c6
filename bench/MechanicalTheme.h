// The theme that plays unless the user chooses another.
#pragma once

#include "platform/Log.h"
#include "platform/RandomSource.h"
#include "themes/SoundTheme.h"
#include "themes/ThemeCatalog.h"

#include <memory>

namespace morvel::bench {

// With its fallback; null where it does not load.
inline std::shared_ptr<const SoundTheme> loadMechanical(Log& log, RandomSource& random) {
    const ThemeCatalog catalog(MORVEL_SOURCE_THEMES, {}, log);
    const auto theme = SoundTheme::load("mechanical", catalog, log, random);
    return theme ? theme.value() : nullptr;
}

} // namespace morvel::bench
