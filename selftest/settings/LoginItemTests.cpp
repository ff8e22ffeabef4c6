#include "selftest/settings/LoginItemTests.h"

#include "selftest/FileAsItWas.h"

#include <fmt/format.h>

#include <optional>

namespace morvel {

void testLaunchAtLoginState(const SettingsUnderTest& tested) {
    // A copy that may not be the login item is off, whatever the service knows of another copy.
    const bool enabled =
        !tested.login.unavailability() && tested.loginItem.status() == LoginItemStatus::enabled;
    tested.checks.check("launch-at-login state matches SMAppService",
                        tested.settings.launchAtLogin() == enabled);
}

void testLoginItemRegistration(const SettingsUnderTest& tested) {
    CheckList& checks = tested.checks;
    if (tested.environment("MORVEL_LOGIN_ITEM_TEST") != "1") {
        checks.check("login item registration not exercised", true,
                     "set MORVEL_LOGIN_ITEM_TEST=1 (from a real .app) to register for real");
        return;
    }
    if (tested.login.unavailability()) {
        checks.check("login item registration requires an installed .app bundle", false);
        return;
    }
    AppSettings& settings = tested.settings;
    const LoginItemStatus before = tested.loginItem.status();
    std::optional<FileAsItWas> file;
    if (!tested.loginItemFile.empty())
        file.emplace(tested.loginItemFile);
    tested.log.line(fmt::format("SETTINGSTEST login item status before: {}", logName(before)));
    if (before == LoginItemStatus::enabled)
        settings.setLaunchAtLogin(false); // else switching on would have nothing to do
    settings.setLaunchAtLogin(true);
    checks.check("toggling on registers the login item",
                 settings.launchAtLogin() && tested.loginItem.status() == LoginItemStatus::enabled);
    settings.setLaunchAtLogin(false);
    checks.check("toggling off unregisters it",
                 !settings.launchAtLogin() &&
                     tested.loginItem.status() == LoginItemStatus::notRegistered);
    settings.setLaunchAtLogin(before == LoginItemStatus::enabled);
    file.reset();
    settings.syncLaunchAtLogin();
    checks.check("original login item state restored",
                 tested.loginItem.status() == before &&
                     settings.launchAtLogin() == (before == LoginItemStatus::enabled));
}

} // namespace morvel
