// Plays bursts and sequences through the running engine, stops its output in the middle, and leaves
// a recording of it all. Takes about ten seconds, then ends the program. Main thread.
//
// Environment variables:
//   MORVEL_AUDIO_SELFTEST  on when exactly "1"
//   MORVEL_SELFTEST_OUT    the recording's path, else morvel-selftest.wav in the temporary folder
#pragma once

#include "audio/AudioEngine.h"
#include "platform/Environment.h"
#include "platform/Log.h"
#include "platform/Scheduler.h"
#include "selftest/Timeline.h"
#include "sound/SoundCategory.h"

#include <filesystem>
#include <functional>

namespace morvel {

class AudioSelfTest {
public:
    static constexpr const char* variable = "MORVEL_AUDIO_SELFTEST";
    static bool isEnabled(const Environment& environment) { return environment(variable) == "1"; }

    // All must outlive the test.
    struct Services {
        Scheduler& scheduler;
        Log& log;
        AudioEngine& audio;
        std::function<void()> terminate; // ends the program
    };

    AudioSelfTest(Services services, const Environment& environment);

    // Starts recording and leaves the rest to the main run loop; to be called once. What it finds
    // is in the log: only a recording that cannot start ends the test, and the program, early.
    void run();

private:
    void line(const char* text);
    // `count` times, the first at `time` with `text` in the log.
    void playSeries(double time, const char* text, SoundCategory category, int count,
                    double interval);
    void playAtOnce();
    void tellOfRestart();

    const Services services_;
    const std::filesystem::path recording_;
    Timeline timeline_;
};

} // namespace morvel
