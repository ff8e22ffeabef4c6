#include "audio/AudioEngine.h"

namespace morvel {

struct AudioEngine::State {
    Services services;
    bool traceEnabled;
    float masterVolume = 1;
    bool muted = false;
    float submixVolume = 1;
};

AudioEngine::AudioEngine(Services services, bool traceEnabled)
    : state_(std::make_unique<State>(State{services, traceEnabled})) {}

AudioEngine::~AudioEngine() = default;

void AudioEngine::start() {}
void AudioEngine::setResolver(std::shared_ptr<const SampleResolving>) {}
void AudioEngine::play(SoundCategory, float, bool) {}

float AudioEngine::masterVolume() const {
    return state_->masterVolume;
}
void AudioEngine::setMasterVolume(float volume) {
    state_->masterVolume = volume;
}
bool AudioEngine::isMuted() const {
    return state_->muted;
}
void AudioEngine::setMuted(bool muted) {
    state_->muted = muted;
}
float AudioEngine::submixOutputVolume() const {
    return state_->submixVolume;
}
void AudioEngine::setSubmixOutputVolume(float volume) {
    state_->submixVolume = volume;
}
int AudioEngine::activeVoiceCount() const {
    return 0;
}
void AudioEngine::quiesceForThemeSwap() {}

} // namespace morvel
