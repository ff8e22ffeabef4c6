// The one gate between the toys and the audio engine: the fidget module's switch and volume. Master
// volume and mute are the engine's. Main thread.
#pragma once

#include "app/settings/AppSettings.h"
#include "audio/AudioEngine.h"
#include "sound/SoundCategory.h"

namespace morvel {

class FidgetSound {
public:
    // Both must outlive it and every copy.
    FidgetSound(const AppSettings& settings, AudioEngine& audio)
        : settings_(&settings)
        , audio_(&audio) {}

    // Both read the settings anew and do nothing while the module is off.
    void play(SoundCategory category) const;
    void startLoop(SoundCategory category, float gain, float rate) const;

private:
    const AppSettings* settings_;
    AudioEngine* audio_;
};

} // namespace morvel
