// The single owner of all sound output.
#pragma once

#include "audio/sample/SampleResolving.h"
#include "platform/AudioOutput.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/RandomSource.h"
#include "platform/Scheduler.h"
#include "sound/SoundCategory.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace morvel {

class AudioEngine {
public:
    struct Services {
        AudioOutput& output;
        const Clock& clock;
        Scheduler& scheduler;
        RandomSource& random;
        Log& log;
    };

    AudioEngine(Services services, bool traceEnabled);
    ~AudioEngine();
    AudioEngine(const AudioEngine&) = delete;
    AudioEngine& operator=(const AudioEngine&) = delete;

    void start();
    void setResolver(std::shared_ptr<const SampleResolving> resolver);
    void play(SoundCategory category, float volume, bool pitchJitter);

    float masterVolume() const;
    void setMasterVolume(float volume);
    bool isMuted() const;
    void setMuted(bool muted);

    // The submix's output volume as last applied, 0 to 1.
    float submixOutputVolume() const;
    void setSubmixOutputVolume(float volume);

    int activeVoiceCount() const;
    void quiesceForThemeSwap();

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace morvel
