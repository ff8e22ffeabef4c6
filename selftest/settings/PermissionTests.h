// The settings self-test of how changes of trust are told. Main thread.
#pragma once

#include "selftest/Timeline.h"
#include "selftest/TrustWatch.h"
#include "selftest/settings/SettingsUnderTest.h"

#include <functional>
#include <optional>

namespace morvel {

// Whether an observer that asks the monitor finds what it was told.
class ObserverOrderingTest {
public:
    explicit ObserverOrderingTest(const SettingsUnderTest& tested);

    // Calls `done` in a later turn of the main run loop.
    void start(std::function<void()> done);

private:
    const SettingsUnderTest& tested_;
    Timeline timeline_;
    std::optional<TrustWatch> watch_;
};

// Whether trust that comes is seen; needs MORVEL_SIMULATE_UNTRUSTED_SECONDS.
class LivePermissionTest {
public:
    static constexpr double patience = 4.5; // seconds

    // Watches from now on: trust may come before it is this test's turn.
    explicit LivePermissionTest(const SettingsUnderTest& tested);

    // Calls `done` when the checks are made.
    void start(std::function<void()> done);

private:
    const SettingsUnderTest& tested_;
    Timeline timeline_;
    TrustWatch watch_;
};

} // namespace morvel
