// Reports how the active theme resolves and how loud it is, then plays each of its sounds through
// the running engine, which records it, to be listened to and measured. Takes about twenty seconds;
// the program runs on. Main thread.
//
// Environment variables:
//   MORVEL_THEME_SELFTEST  on when exactly "1"
//   MORVEL_SELFTEST_OUT    the recording's path, else morvel-themetest.wav in the temporary folder
#pragma once

#include "audio/AudioEngine.h"
#include "platform/Environment.h"
#include "platform/Log.h"
#include "platform/Scheduler.h"
#include "selftest/Timeline.h"
#include "themes/SoundTheme.h"

#include <filesystem>

namespace morvel {

class ThemeSelfTest {
public:
    static constexpr const char* variable = "MORVEL_THEME_SELFTEST";
    static bool isEnabled(const Environment& environment) { return environment(variable) == "1"; }

    // All must outlive the test.
    struct Services {
        Scheduler& scheduler;
        Log& log;
        AudioEngine& audio;
    };

    ThemeSelfTest(Services services, const Environment& environment);

    // Reports on `theme`, which the engine should be playing, and leaves the playing to the main
    // run loop; to be called once. A recording that cannot start is logged, and the sounds still
    // play.
    void run(const SoundTheme& theme);

private:
    // Each schedules its steps and answers when it is over, in seconds from the call of run().
    double playEachOnce(double time);
    double playPops(double time);
    double playLoop(double time);
    void complete();

    const Services services_;
    const std::filesystem::path recording_;
    bool records_ = false;
    Timeline timeline_;
};

} // namespace morvel
