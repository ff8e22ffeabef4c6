// Who may use which one-shot voice, and what has been warned about: the bookkeeping of plays.
//
// Everything is guarded by one lock, held only for a scan of eight entries. Any thread but the
// audio thread.
#pragma once

#include "audio/RenderCommands.h"
#include "sound/SoundCategory.h"

#include <array>
#include <bitset>
#include <cstddef>
#include <mutex>

namespace morvel {

class VoicePool {
public:
    struct Handout {
        std::size_t voice = 0;
        double freeAt = 0; // Clock::now() seconds at which the new sound is expected to end
        bool stolen = false;
    };

    // Hands out the lowest-numbered voice that is free at `now`, else the one that will be free
    // first. `expectedDuration` in seconds.
    Handout acquire(double now, double expectedDuration);

    std::size_t activeCount(double now) const;
    std::array<double, voiceCount> freeAt() const;
    std::size_t cursor() const; // the index after the voice handed out last

    // True for the first time since the warnings were forgotten.
    bool warnOnce(SoundCategory category);

    void freeAll();
    void freeAllAndForgetWarnings();

private:
    mutable std::mutex mutex_;
    std::array<double, voiceCount> freeAt_ = {};
    std::size_t cursor_ = 0;
    std::bitset<soundCategoryCount> warned_;
};

} // namespace morvel
