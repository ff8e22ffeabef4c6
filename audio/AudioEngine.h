// The single owner of all sound output.
//
// A fixed topology of eight one-shot voices and one loop voice -> submix -> peak limiter -> output
// and recorder. One-shot sounds may be asked for on any thread but the audio thread; everything
// else, construction and destruction included, is the main thread's unless it says otherwise.
// Master volume and mute act at the submix, on everything at once.
//
// Output is kept running while sounds are played and for five minutes after, then paused until the
// next sound; a lost one that nobody has asked for sound for so long is looked for no more until
// then either. While the sound server is gone plays are counted as usual but make no sound, neither
// then nor later; a loop that runs is heard as soon as there is output for it.
#pragma once

#include "audio/Limiter.h"
#include "audio/RenderCommands.h"
#include "audio/VoicePool.h"
#include "audio/sample/SampleResolving.h"
#include "platform/AudioOutput.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/RandomSource.h"
#include "platform/Scheduler.h"
#include "sound/SoundCategory.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

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

    struct LimiterParameter {
        std::uint32_t id = 0;
        float value = 0;
    };

    struct Options {
        // Output runs on for this long after the last sound, in seconds.
        double keepWarmSeconds = 300;
        // A sound that output has not begun to play this many seconds after it was asked for is
        // forgotten rather than played late.
        double startPatienceSeconds = 0.3;
        // The same for the first sound after a pause, since a device may take its time to wake, and
        // would else swallow a sound after every pause. So that none of them come in a burst, a
        // sound takes the place of those that wait for longer than the time above.
        double wakePatienceSeconds = 2;
        // Set in this order.
        std::vector<LimiterParameter> limiter = {
            {Limiter::preGain, 0.0F}, {Limiter::attackTime, 0.001F}, {Limiter::decayTime, 0.04F}};
    };

    // Connects to the output, which must outlive the engine, and starts it.
    AudioEngine(Services services, bool traceEnabled);
    AudioEngine(Services services, bool traceEnabled, Options options);
    // Completes a recording. Render calls that still come are answered with silence.
    ~AudioEngine();
    AudioEngine(const AudioEngine&) = delete;
    AudioEngine& operator=(const AudioEngine&) = delete;

    // Asks for running output unless it runs already. Returns at once; a failure is logged, and
    // playing tries again. Any thread but the audio thread.
    void start();
    // Whether output runs now, so that a sound asked for is heard. Any thread.
    bool isRunning() const;

    void setResolver(std::shared_ptr<const SampleResolving> resolver);

    // Plays `category` once. `volume` is linear; what it makes with the sample's gain is limited to
    // 0 to 1. Cheap enough for key event delivery: while output runs and tracing is off, no
    // allocation and no system call. Any thread but the audio thread.
    void play(SoundCategory category, float volume, bool pitchJitter);
    // Likewise, but always with the trace line in the log, and so at no time cheap. Any thread but
    // the audio thread.
    void playTraced(SoundCategory category, float volume, bool pitchJitter);

    // Setting either applies the submix's output volume anew: 0 when muted, else the master volume
    // limited to 0 to 1. Reading: any thread.
    float masterVolume() const;
    void setMasterVolume(float volume);
    bool isMuted() const;
    void setMuted(bool muted);

    // The submix's output volume as last applied, 0 to 1.
    float submixOutputVolume() const;
    // Limited to 0 to 1; not a number counts as 0. Holds until the next assignment above.
    void setSubmixOutputVolume(float volume);

    // Voices whose sound is expected to last beyond now. Any thread.
    int activeVoiceCount() const;

    // Silences everything before the resolver's theme changes; a missing category is then reported
    // anew.
    void quiesceForThemeSwap();

    // Captures the final output to a WAV file from now until stopRecording(), the next call, or the
    // engine's end; time in which output does not run leaves no frames. Answers nothing, or why the
    // file could not be created; then nothing has changed.
    std::optional<std::string> startRecording(const std::filesystem::path& file);
    // Completes the recording's file, which waits for the disk. Does nothing where there is none.
    void stopRecording();
    // Frames that the recording had to leave out because the disk was too slow.
    std::uint64_t recordingOverflowFrames() const;

    // For trying out how sound comes back: stops output and has that handled, a tenth of a second
    // later, as a change of the output's configuration.
    void simulateConfigurationChange();

    // The loop: one at a time. Rate is limited to 0.5 to 2; gain times the sample's gain to 0 to 1.
    // Starting the category that runs already only changes its gain and rate.
    void startLoop(SoundCategory category, float gain, float rate);
    void updateLoop(float gain, float rate);
    // Fades over `fadeOut` seconds; at once when it is not greater than 0.
    void stopLoop(double fadeOut);
    std::optional<SoundCategory> loopCategory() const;
    float loopGain() const; // as last asked for
    float loopRate() const;
    float loopVolume() const; // as last sent to the loop voice

    // The random rate for a spread of `cents` to either side: 0.5 to 2, and exactly 1 for a spread
    // that is not greater than 0.
    static float jitterRate(float cents, RandomSource& random);

    // The next voice for a sound of `expectedDuration` seconds. Any thread.
    VoicePool::Handout acquireVoice(double expectedDuration);
    // Logs that the theme has no such sound, once a category and theme. Any thread.
    void warnMissing(SoundCategory category);

    struct VoiceState {
        double freeAt = 0; // as handed out; 0: never, or not since the last reset
        float rate = 1;    // as last set
        float volume = 0;
        bool interrupted = false; // its last sound cut off another
        bool playing = false;     // on the audio side
    };
    std::array<VoiceState, voiceCount> voices() const;
    std::size_t cursor() const;

    std::uint32_t limiterDelayFrames() const;
    // Sounds that found the queue to the audio thread full.
    std::uint64_t droppedSoundCount() const;
    // Buffers the audio side has not let go of, or that have not been collected yet.
    std::size_t heldBufferCount() const;

private:
    struct State;

    void configureLimiter();
    void applySubmixVolume();
    void connectOutput();
    void outputFailed(const std::string& error);
    void outputConfigurationChanged();
    void handleConfigurationChange();
    void reportRestart();
    bool outputTakesSounds();
    bool renderingStalled(double now);
    void keepNewestSounds(double now);
    void watchStart();
    void keepHouse();
    void playOnce(SoundCategory category, float volume, bool pitchJitter, bool trace);
    void schedule(const ResolvedSample& sample, VoicePool::Handout handout, float rate,
                  float volume);
    void tracePlay(SoundCategory category, const PcmBuffer* buffer, float rate, float volume);
    std::optional<ResolvedSample> resolve(SoundCategory category) const;
    void fadeTick();

    std::unique_ptr<State> state_;
};

} // namespace morvel
