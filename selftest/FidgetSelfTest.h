// Checks the dial's arithmetic and who may stop which toy's loop, then ends the program. Main
// thread.
//
// Environment variable:
//   MORVEL_FIDGET_SELFTEST  on when exactly "1"
#pragma once

#include "app/settings/AppSettings.h"
#include "audio/AudioEngine.h"
#include "platform/Environment.h"
#include "platform/Log.h"
#include "platform/Scheduler.h"
#include "selftest/Timeline.h"
#include "sound/SoundCategory.h"

#include <functional>
#include <string>

namespace morvel {

class FidgetSelfTest {
public:
    static constexpr const char* variable = "MORVEL_FIDGET_SELFTEST";
    static bool isEnabled(const Environment& environment) { return environment(variable) == "1"; }

    // All must outlive the test.
    struct Services {
        Scheduler& scheduler;
        Log& log;
        AudioEngine& audio;
        const AppSettings& settings;
        std::function<void()> terminate; // ends the program
    };

    explicit FidgetSelfTest(Services services);

    // Checks at once and in this order what the three below do; the program is ended half a second
    // later. To be called once.
    void run();

    // Two angles, in degrees, and the way between them.
    struct SeamCase {
        double from;
        double to;
        double expected;
    };
    // The case as a log line, with the way that was found: "ok", or "WRONG" when it is another.
    static std::string describe(const SeamCase& seam, double delta);

private:
    void checkSeam();
    void checkTickRate();
    void checkLoopOwnership();
    // As a toy does whose loop is `category`: any other is left alone.
    void tearDown(SoundCategory category);
    std::string looping() const;
    void line(const std::string& text);

    const Services services_;
    Timeline timeline_;
};

} // namespace morvel
