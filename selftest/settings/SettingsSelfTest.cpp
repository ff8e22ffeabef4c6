#include "selftest/settings/SettingsSelfTest.h"

#include "selftest/settings/LoginItemTests.h"
#include "selftest/settings/LoopSwitchTest.h"
#include "selftest/settings/PermissionTests.h"
#include "selftest/settings/PersistenceTests.h"
#include "selftest/settings/SettingsWindowTest.h"
#include "selftest/settings/ThemeFolderTests.h"

namespace morvel {

struct SettingsSelfTest::Running {
    explicit Running(const SettingsUnderTest& tested_)
        : tested(tested_) {}

    const SettingsUnderTest tested;
    LivePermissionTest livePermission{tested};
    ObserverOrderingTest observerOrdering{tested};
    SettingsWindowTest window{tested};
    LoopSwitchTest loopSwitch{tested};
};

bool SettingsSelfTest::isEnabled(const Environment& environment) {
    return environment(variable) == "1";
}

SettingsSelfTest::SettingsSelfTest(const Services& services)
    : services_(services)
    , checks_("SETTINGSTEST", services.log) {}

SettingsSelfTest::~SettingsSelfTest() = default;

void SettingsSelfTest::displayLost() {
    if (running_)
        running_->window.displayLost();
}

void SettingsSelfTest::run(AppSettings& settings, ThemeController& themes) {
    checks_.start();
    running_ = std::make_unique<Running>(SettingsUnderTest{
        checks_, services_.log, services_.scheduler, services_.environment, settings,
        services_.storage, themes, services_.catalog, services_.applicationSupport, services_.audio,
        services_.permission, services_.login, services_.loginItem, services_.loginItemFile,
        services_.makeSettingsWindow});
    const SettingsUnderTest& tested = running_->tested;
    testUserThemesFolder(tested);
    testCatalog(tested);
    testCoverageReporting(tested);
    testMalformedThemes(tested);
    testDroppedTheme(tested);
    testPickerMatchesReality(tested);
    testPersistence(tested);
    testRetiredModule(tested);
    testLaunchAtLoginState(tested);
    testLoginItemRegistration(tested);
    running_->observerOrdering.start([this] {
        running_->window.start([this] {
            running_->livePermission.start(
                [this] { running_->loopSwitch.start([this] { checks_.complete(); }); });
        });
    });
}

} // namespace morvel
