// The system-wide keyboard tap and what becomes of its events. Main thread only.
#pragma once

#include "app/settings/AppSettings.h"
#include "app/trust/AccessibilityPermission.h"
#include "audio/AudioEngine.h"
#include "keyboard/LatencyTrace.h"
#include "platform/Clock.h"
#include "platform/KeyTap.h"
#include "platform/Log.h"

#include <optional>

namespace morvel {

class KeyboardEngine : private KeyTap::Listener {
public:
    // All must outlive the engine.
    struct Services {
        KeyTap& tap;
        const AppSettings& settings;
        const AccessibilityPermission& permission;
        AudioEngine& audio;
        const Clock& clock;
        Log& log;
    };

    // `traceEnabled`: log how late events arrive and how long their handling takes.
    KeyboardEngine(Services services, bool traceEnabled);
    ~KeyboardEngine() override;
    KeyboardEngine(const KeyboardEngine&) = delete;
    KeyboardEngine& operator=(const KeyboardEngine&) = delete;

    // Installs the tap when there is trust. Answers whether a tap is installed now. To be called
    // again when trust changes: nothing is retried here.
    bool start();
    void stop();
    // Whether the tap is installed.
    bool isRunning() const { return installed_; }

    // Plays what `event` sounds like: nothing while keyboard sounds are off, for a repeated key
    // down and for an unclassified event. Allocates nothing unless tracing is on.
    void handle(const KeyEvent& event);

private:
    void keyEvent(const KeyEvent& event) override { handle(event); }
    void tapDisabled(TapDisabledReason reason) override;

    // Milliseconds from a host-clock time to now; 0 for an unknown time or one not in the past.
    double millisecondsSince(std::uint64_t eventTimestampNanos) const;

    Services services_;
    std::optional<LatencyTrace> trace_;
    bool installed_ = false;
};

} // namespace morvel
