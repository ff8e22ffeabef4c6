// Ten seconds of a theme: somebody types a line and plays with every toy.
//
// Rendered by the program's own parts, from key motions and gestures to the output block, in
// virtual time and without a device. The same theme gives the same samples every time.
#pragma once

#include "platform/Log.h"
#include "platform/Result.h"
#include "sound/SoundCategory.h"
#include "themes/ThemeCatalog.h"
#include "themes/ThemeDescriptor.h"
#include "themes/ThemeLoadError.h"

#include <vector>

namespace morvel::soundbook {

inline constexpr double demoSeconds = 10;

struct TypingDemo {
    // A sound that the script asks for.
    struct Cue {
        double at; // seconds from the beginning
        SoundCategory category;
    };

    std::vector<float> interleaved; // stereo at 44,100 Hz, demoSeconds long
    std::vector<Cue> cues;          // in order of time; without those of the dial
};

// Loads `theme` with the catalogue's Default theme behind it, and plays it.
Result<TypingDemo, ThemeLoadError> typingDemo(const ThemeDescriptor& theme,
                                              const ThemeCatalog& catalog, Log& log);

} // namespace morvel::soundbook
