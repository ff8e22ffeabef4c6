#include "selftest/KeyboardSelfTest.h"

#include "keyboard/Classification.h"
#include "platform/KeyTap.h"

#include <fmt/format.h>

#include <string_view>
#include <utility>

namespace morvel {

namespace {

constexpr const char* storedAs = "module.keyboard.enabled";

// Seconds.
constexpr double settling = 1;      // the output has to come up first
constexpr double apart = 0.6;       // of two steps, for a listener to tell them apart
constexpr double holding = 0.1;     // a key, so that its two sounds can be told apart
constexpr double arriving = 0.15;   // for what is on its way through the tap
constexpr double quickHold = 0.012; // together 25 ms from press to press
constexpr double quickPause = 0.013;
constexpr int quickStrokes = 30;
constexpr int repeatCount = 5;

struct Row {
    std::string_view label;
    std::uint32_t type;
    std::int64_t keyCode;
    std::uint64_t flags;
};

constexpr Row rows[] = {
    {"a", keyDownEventType, 0, 0},
    {"a", keyUpEventType, 0, 0},
    {"space", keyDownEventType, 49, 0},
    {"space", keyUpEventType, 49, 0},
    {"return", keyDownEventType, 36, 0},
    {"tab", keyDownEventType, 48, 0},
    {"delete", keyDownEventType, 51, 0},
    {"L-shift press", flagsChangedEventType, 56, 0x2},
    {"L-shift rel", flagsChangedEventType, 56, 0},
    {"R-shift press", flagsChangedEventType, 60, 0x4},
    {"both shift, R released while L held", flagsChangedEventType, 60, 0x2},
    {"caps on", flagsChangedEventType, 57, 0x10000},
    {"caps off", flagsChangedEventType, 57, 0},
    {"L-cmd press", flagsChangedEventType, 55, 0x8},
    {"L-cmd rel", flagsChangedEventType, 55, 0},
    {"L-opt press", flagsChangedEventType, 58, 0x20},
    {"fn press", flagsChangedEventType, 63, 0x800000},
    {"unknown mod", flagsChangedEventType, 200, 0},
};

} // namespace

KeyboardSelfTest::KeyboardSelfTest(const Services& services,
                                   std::unique_ptr<FileAsItWas> settingsFile)
    : services_(services)
    , settingsFile_(std::move(settingsFile))
    , timeline_(services.scheduler) {}

KeyboardSelfTest::~KeyboardSelfTest() {
    if (!running_)
        return;
    services_.poster.post(f13KeyCode, Motion::up);
    finish();
}

void KeyboardSelfTest::run() {
    running_ = true;
    wasEnabled_ = services_.settings.keyboardEnabled();
    wasStored_ = services_.storage.store.contains(storedAs);
    services_.settings.setKeyboardEnabled(true); // some steps are to be heard
    pressAndRelease();
    repeats();
    silence();
    soundAgain();
    classificationTable();
    latencyStatistics();
    then(apart, [this] {
        finish();
        announce("complete");
    });
    next();
}

void KeyboardSelfTest::finish() {
    running_ = false;
    services_.settings.setKeyboardEnabled(wasEnabled_);
    if (!wasStored_)
        services_.storage.store.remove(storedAs);
    services_.storage.flush();
    settingsFile_.reset();
}

void KeyboardSelfTest::pressAndRelease() {
    then(settling, [this] {
        announce("1: F13 down+up (expect keyboard.down then keyboard.up)");
        post(Motion::down);
    });
    then(holding, [this] { post(Motion::up); });
}

// A key repeats only while it is down, so it is held for as long, but its own press and release,
// which would sound, fall into a moment without keyboard sounds.
void KeyboardSelfTest::repeats() {
    then(apart, [this] {
        announce("2: 5x F13 down with autorepeat set (expect NO plays)");
        services_.settings.setKeyboardEnabled(false);
        post(Motion::down);
    });
    then(arriving, [this] { services_.settings.setKeyboardEnabled(true); });
    for (int i = 0; i < repeatCount; ++i)
        then(quickHold + quickPause, [this] { post(Motion::repeat); });
    then(arriving, [this] {
        services_.settings.setKeyboardEnabled(false);
        post(Motion::up);
    });
    then(arriving, [this] { services_.settings.setKeyboardEnabled(true); });
}

void KeyboardSelfTest::silence() {
    then(apart, [this] {
        announce("3: keyboardEnabled=false, then F13 (expect NO plays)");
        services_.settings.setKeyboardEnabled(false);
        post(Motion::down);
    });
    then(holding, [this] { post(Motion::up); });
}

void KeyboardSelfTest::soundAgain() {
    then(apart, [this] {
        announce("4: keyboardEnabled=true, then F13 (expect plays again)");
        services_.settings.setKeyboardEnabled(true);
        post(Motion::down);
    });
    then(holding, [this] { post(Motion::up); });
}

void KeyboardSelfTest::classificationTable() {
    then(apart, [this] {
        announce("5: classification table");
        for (const Row& row : rows) {
            const auto category = classify(row.type, row.keyCode, row.flags);
            services_.log.line(fmt::format("KBTEST   {:<38} -> {}", row.label,
                                           category ? rawValue(*category) : "(silent)"));
        }
    });
}

void KeyboardSelfTest::latencyStatistics() {
    then(apart, [this] {
        announce("6: 30x F13 down+up at 25 ms for latency stats");
        post(Motion::down);
    });
    then(quickHold, [this] { post(Motion::up); });
    for (int i = 1; i < quickStrokes; ++i) {
        then(quickPause, [this] { post(Motion::down); });
        then(quickHold, [this] { post(Motion::up); });
    }
}

void KeyboardSelfTest::then(double pause, std::function<void()> step) {
    steps_.push_back({pause, std::move(step)});
}

void KeyboardSelfTest::next() {
    if (steps_.empty())
        return;
    Step step = std::move(steps_.front());
    steps_.pop_front();
    timeline_.in(step.pause, [this, work = std::move(step.work)] {
        work();
        next();
    });
}

void KeyboardSelfTest::announce(const char* step) {
    services_.log.line(fmt::format("KBTEST {}", step));
}

void KeyboardSelfTest::post(Motion motion) {
    if (!services_.poster.post(f13KeyCode, motion))
        announce("could not create event");
}

} // namespace morvel
