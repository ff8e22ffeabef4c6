#include "selftest/settings/PermissionTests.h"

#include <utility>

namespace morvel {

ObserverOrderingTest::ObserverOrderingTest(const SettingsUnderTest& tested)
    : tested_(tested)
    , timeline_(tested.scheduler) {}

void ObserverOrderingTest::start(std::function<void()> done) {
    watch_.emplace(tested_.permission, tested_.scheduler);
    timeline_.next([this, done = std::move(done)] {
        tested_.checks.check("permission observer sees committed state, not willSet state",
                             watch_->sawCommittedState());
        watch_.reset();
        done();
    });
}

LivePermissionTest::LivePermissionTest(const SettingsUnderTest& tested)
    : tested_(tested)
    , timeline_(tested.scheduler)
    , watch_(tested.permission, tested.scheduler) {}

void LivePermissionTest::start(std::function<void()> done) {
    if (!tested_.environment("MORVEL_SIMULATE_UNTRUSTED_SECONDS")) {
        tested_.checks.check("permission is polled for live changes",
                             tested_.permission.isMonitoring(),
                             "set MORVEL_SIMULATE_UNTRUSTED_SECONDS=2 to observe a real "
                             "transition");
        done();
        return;
    }
    timeline_.in(patience, [this, done = std::move(done)] {
        tested_.checks.check("trust change observed live without user action",
                             watch_.sawChangeTo(true) && tested_.permission.isTrusted());
        done();
    });
}

} // namespace morvel
