#include "selftest/polish/PolishSelfTest.h"

#include "selftest/polish/MenuBarChecks.h"
#include "selftest/polish/MuteTest.h"
#include "selftest/polish/TrustScenario.h"

#include <utility>

namespace morvel {

struct PolishSelfTest::Running {
    explicit Running(const PolishUnderTest& tested_)
        : tested(tested_) {}

    const PolishUnderTest tested;
    TrustScenario trust{tested};
    MuteTest mute{tested};
};

bool PolishSelfTest::isEnabled(const Environment& environment) {
    return environment(variable) == "1";
}

PolishSelfTest::PolishSelfTest(Services services)
    : services_(std::move(services))
    , checks_("POLISHTEST", services_.log) {}

PolishSelfTest::~PolishSelfTest() = default;

void PolishSelfTest::run(StatusItemController& statusItem, AppSettings& settings) {
    checks_.start();
    running_ = std::make_unique<Running>(
        PolishUnderTest{checks_, services_.log, services_.scheduler, services_.environment,
                        &statusItem, settings, services_.storage, services_.themes, services_.audio,
                        services_.permission, services_.keyboard});
    checkIconSymbols(checks_, services_.isDrawable, statusItem.currentIconSymbolName());
    checkMenu(checks_, statusItem.currentMenuTitles());
    checkHarnessSwitches(checks_, services_.switches);
    running_->mute.start([this] { running_->trust.start([this] { checks_.complete(); }); });
}

} // namespace morvel
