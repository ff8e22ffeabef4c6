// Finds out, from a recording alone, which sounds of a theme were played and when.
//
// From left to right: the next onset is found, compared by cross-correlation with every variant of
// every category at every rate the theme's pitch spread allows, and the best match is subtracted,
// so that what it covered comes to light. It resamples with code of its own, so that an error of
// the engine's cannot hide behind itself.
#pragma once

#include "sound/SoundCategory.h"
#include "themes/SoundTheme.h"

#include <cstddef>
#include <span>
#include <vector>

namespace morvel::audition {

struct HeardSound {
    std::size_t onset; // frame at which the sound's file begins
    SoundCategory category;
    double correlation; // with the sample it was matched to, over its first part: at most 1
    double rate;        // that it was played at
    double level;       // times the sample: the product of all gains
};

class SoundMatcher {
public:
    // Compares with `categories` of `theme` (those that it authors itself).
    SoundMatcher(const SoundTheme& theme, std::span<const SoundCategory> categories);

    // Everything heard in `interleaved` (stereo, 44,100 Hz), in order of time.
    std::vector<HeardSound> listen(std::span<const float> interleaved) const;

private:
    // The beginning of a sample at one rate.
    struct Attack {
        double rate;
        std::vector<float> frames;
    };
    struct Template {
        SoundCategory category;
        float gain;
        float jitterCents;
        std::vector<float> mono;
        std::size_t onset; // first frame that could trigger the search
        std::vector<Attack> attacks;
    };
    struct Fit {
        const Template* sample = nullptr;
        std::size_t start = 0;
        double rate = 1;
        double correlation = 0;
        double level = 0;
    };

    static Fit coarseFit(const Template& sample, std::span<const float> residual,
                         std::size_t trigger);
    Fit bestFit(std::span<const float> residual, std::size_t trigger) const;
    Fit bestFitNear(std::span<const float> residual, std::size_t trigger) const;
    static Fit refined(std::span<const float> residual, const Fit& coarse, std::ptrdiff_t reach);

    std::vector<Template> templates_;
    float threshold_ = 0;
};

} // namespace morvel::audition
