#include "fidget/FidgetSound.h"

namespace morvel {

void FidgetSound::play(SoundCategory category) const {
    if (settings_->fidgetEnabled())
        audio_->play(category, settings_->fidgetVolume(), true);
}

void FidgetSound::startLoop(SoundCategory category, float gain, float rate) const {
    if (settings_->fidgetEnabled())
        audio_->startLoop(category, gain * settings_->fidgetVolume(), rate);
}

} // namespace morvel
