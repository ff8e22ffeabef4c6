// Typing on a built-in theme, through the whole engine, without a device.
#pragma once

#include "audio/AudioEngine.h"
#include "themes/SoundTheme.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace morvel::test {

// The built-in theme, decoded once for the whole program.
std::shared_ptr<const SoundTheme> builtInTheme(const std::string& id);

struct Typing {
    double seconds;
    double keysPerSecond;
    std::size_t heldKeys; // a key comes up when this many later ones have gone down
};

struct Performance {
    struct Sound {
        std::size_t startFrame; // of its first frame, the limiter's delay left out
        ResolvedSample sample;
    };

    std::vector<float> output; // interleaved stereo
    std::vector<Sound> sounds; // as they were asked for
    std::uint32_t delayFrames; // of the limiter
};

// Letters with a space after every fifth key and now and then another long key, at full volume. The
// same typing picks the same variants and the same pitches, whatever the limiter's gain before it.
Performance perform(const std::shared_ptr<const SoundTheme>& theme, const Typing& typing,
                    bool pitchJitter, float limiterPreGainDb = 0);

} // namespace morvel::test
