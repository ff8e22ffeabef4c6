// The polish self-test of trust that comes late or is taken away, whichever the environment
// simulates. Main thread.
#pragma once

#include "selftest/Timeline.h"
#include "selftest/TrustWatch.h"
#include "selftest/UnmutedEngine.h"
#include "selftest/polish/PolishUnderTest.h"

#include <functional>
#include <optional>

namespace morvel {

class TrustScenario {
public:
    static constexpr double patienceForReturn = 4.5; // seconds
    static constexpr double patienceForLoss = 5.0;   // seconds

    // Watches from now on: trust may change before it is this test's turn.
    explicit TrustScenario(const PolishUnderTest& tested);

    // Calls `done` when the checks are made.
    void start(std::function<void()> done);

private:
    // What the loss must have changed to be seen to do so.
    struct BeforeLoss {
        bool modulesRan = false;
        bool loopSounded = false;
        bool windowShown = false;
    };

    void awaitReturn(std::function<void()> done);
    void awaitLoss(std::function<void()> done);
    void checkLoss();
    bool drawerHasSamples() const;
    bool drawerSounds() const;

    const PolishUnderTest& tested_;
    const bool startedTrusted_;
    Timeline timeline_;
    std::optional<UnmutedEngine> unmuted_;
    BeforeLoss beforeLoss_;
    TrustWatch watch_;
};

} // namespace morvel
