// What the engine's source files share.
#pragma once

#include "audio/AudioEngine.h"
#include "audio/Recorder.h"
#include "audio/Renderer.h"

#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <optional>

namespace morvel {

struct AudioEngine::State {
    // Shared with the output's render function, which may be called after the engine has gone.
    struct Rendering {
        RenderCommands commands;
        Renderer renderer{commands};
    };
    struct VoiceSettings {
        std::atomic<float> rate = 1.0F;
        std::atomic<float> volume = 0.0F;
        std::atomic<bool> interrupted = false;
    };
    struct Loop {
        std::optional<SoundCategory> category;
        float gain = 0;
        float rate = 1;
        float volume = 0; // as sent to the voice
        std::unique_ptr<Timer> fadeTimer;
        double fadeSeconds = 0;
        double fadeStart = 0;
        float fadeFrom = 0;
    };

    State(Services s, bool trace, Options o)
        : services(s)
        , options(std::move(o))
        , traceEnabled(trace) {
        rendering->renderer.setClock(services.clock);
    }

    Services services;
    Options options;
    bool traceEnabled;
    std::shared_ptr<Rendering> rendering = std::make_shared<Rendering>();
    VoicePool pool;
    std::array<VoiceSettings, voiceCount> voices;
    mutable std::mutex resolverMutex;
    std::shared_ptr<const SampleResolving> resolver;
    std::atomic<float> masterVolume = 1.0F;
    std::atomic<bool> muted = false;
    std::atomic<double> lastSound = 0.0;
    // When output was last asked to start, and for how long from then on sounds wait for it.
    std::atomic<double> startRequested = 0.0;
    std::atomic<double> startPatience = 0.0;
    // No sound that still waits is older.
    std::atomic<double> waitingSince = 0.0;
    // How far rendering had come when it was last seen to move, and when that was.
    std::atomic<std::uint64_t> progressFrames = 0;
    std::atomic<double> progressTime = 0.0;
    Loop loop;
    std::unique_ptr<Recorder> recorder;
    std::unique_ptr<Timer> startWatch;
    std::unique_ptr<Timer> housekeeping;
    std::unique_ptr<Timer> restartReport;
    std::unique_ptr<Timer> simulatedChange;
    // What is queued for the main thread looks whether the engine is still there.
    std::shared_ptr<int> alive = std::make_shared<int>();
};

// `volume` limited to 0 to 1; not a number becomes 0.
inline float clampedVolume(float volume) {
    if (!(volume > 0))
        return 0;
    return volume < 1 ? volume : 1;
}

} // namespace morvel
