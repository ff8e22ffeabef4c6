// An engine that plays though the user has muted it, and is not heard then: while muted it plays
// nothing that could be tested. Main thread.
#pragma once

#include "app/settings/AppSettings.h"
#include "audio/AudioEngine.h"

namespace morvel {

class UnmutedEngine {
public:
    // Both must outlive this.
    UnmutedEngine(AudioEngine& audio, AppSettings& settings)
        : settings_(settings) {
        if (!audio.isMuted())
            return;
        audio.setMuted(false);
        audio.setSubmixOutputVolume(0);
    }
    // As the settings say by then.
    ~UnmutedEngine() { settings_.applyToAudioEngine(); }
    UnmutedEngine(const UnmutedEngine&) = delete;
    UnmutedEngine& operator=(const UnmutedEngine&) = delete;

private:
    AppSettings& settings_;
};

} // namespace morvel
