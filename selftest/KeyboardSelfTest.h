// Types on the running program: key events of its own making that take the whole way through the
// session, the tap and the engine, for a person or a script to listen to and to measure.
//
// MORVEL_LATENCY_TRACE beside it makes the log tell how late the events arrived and how long their
// handling took. Main thread.
#pragma once

#include "app/settings/AppSettings.h"
#include "platform/Environment.h"
#include "platform/KeyEventPoster.h"
#include "platform/Log.h"
#include "platform/Scheduler.h"
#include "selftest/FileAsItWas.h"
#include "selftest/SettingsStorage.h"
#include "selftest/Timeline.h"

#include <deque>
#include <functional>
#include <memory>

namespace morvel {

class KeyboardSelfTest {
public:
    static constexpr const char* variable = "MORVEL_KEYBOARD_SELFTEST";
    static bool isEnabled(const Environment& environment) { return environment(variable) == "1"; }

    // All must outlive the test. `storage` is where `settings` are kept.
    struct Services {
        KeyEventPoster& poster;
        AppSettings& settings;
        const SettingsStorage& storage;
        Scheduler& scheduler;
        Log& log;
    };

    // `settingsFile` is put back at the end; it is remembered from before any self-test.
    KeyboardSelfTest(const Services& services, std::unique_ptr<FileAsItWas> settingsFile);
    // Lets go of the key and puts the settings back, where it is in the middle.
    ~KeyboardSelfTest();
    KeyboardSelfTest(const KeyboardSelfTest&) = delete;
    KeyboardSelfTest& operator=(const KeyboardSelfTest&) = delete;

    // Begins; returns at once. Takes about six seconds, through which keyboard sounds are switched
    // on and off; at the end they are as they were. Once only.
    void run();

private:
    using Motion = KeyEventPoster::Motion;

    // Does `step`, `pause` seconds after the one before it. Counted from there, however late that
    // one was: what has been posted by one step has gone through the tap when the next begins.
    void then(double pause, std::function<void()> step);
    void next();

    void pressAndRelease();
    void repeats();
    void silence();
    void soundAgain();
    void classificationTable();
    void latencyStatistics();
    void finish();

    void announce(const char* step);
    void post(Motion motion);

    struct Step {
        double pause;
        std::function<void()> work;
    };

    const Services services_;
    std::unique_ptr<FileAsItWas> settingsFile_;
    Timeline timeline_;
    std::deque<Step> steps_;
    bool running_ = false;
    bool wasEnabled_ = true;
    bool wasStored_ = false;
};

} // namespace morvel
