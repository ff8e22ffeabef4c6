#include "app/AppDelegate.h"

#include <fmt/format.h>

#include <string>
#include <utility>

namespace morvel {

AppDelegate::AppDelegate(Services services, const Environment& environment)
    : services_(std::move(services))
    , environment_(environment)
    , forcePermissionWindow_(environment("MORVEL_FORCE_PERMISSION_WINDOW") == "1") {}

void AppDelegate::applicationDidFinishLaunching() {
    services_.activation.becomeAccessory();
    services_.settings.applyToAudioEngine();
    services_.catalog.ensureUserThemesDirectoryExists();
    services_.themes.refreshCatalog();
    chooseTheme();
    statusItemController_ = services_.makeStatusItem();
    services_.permission.logIdentity();
    services_.permission.startMonitoring();
    passOnboardingGate();
    services_.keyboard.start();
    trustObserver_.emplace(services_.permission, &AccessibilityPermission::isTrusted,
                           &AccessibilityPermission::isTrustedChanged, services_.scheduler,
                           [this](bool trusted) { trustChanged(trusted); });
    startTestModes();
    if (environment_("MORVEL_OPEN_DRAWER") == "1")
        openDrawerSoon();
}

void AppDelegate::serve(InstanceRequest request) {
    if (!statusItemController_)
        return;
    switch (request) {
    case InstanceRequest::openDrawer:
        statusItemController_->openDrawer();
        break;
    case InstanceRequest::openSettings:
        statusItemController_->openSettings();
        break;
    case InstanceRequest::toggleMute:
        statusItemController_->toggleMute();
        break;
    case InstanceRequest::quit:
        statusItemController_->quit();
        break;
    }
}

void AppDelegate::startTestModes() {
    for (const TestMode& mode : services_.testModes)
        if (environment_(mode.variable) == "1")
            mode.start(*this);
}

std::vector<std::string> AppDelegate::testVariables() const {
    std::vector<std::string> variables;
    for (const TestMode& mode : services_.testModes)
        variables.push_back(mode.variable);
    return variables;
}

void AppDelegate::openDrawerSoon() {
    drawerTimer_ = services_.scheduler.after(drawerDelay, [this] {
        if (statusItemController_ && !statusItemController_->isPopoverShown())
            statusItemController_->togglePopover();
    });
}

void AppDelegate::applicationWillTerminate() {
    trustObserver_.reset();
    drawerTimer_.reset();
    services_.keyboard.stop();
    services_.permission.stopMonitoring();
    statusItemController_.reset();
}

void AppDelegate::chooseTheme() {
    const std::string persisted = services_.settings.themeID().toStdString();
    for (const std::string& candidate :
         {persisted, std::string("mechanical"), std::string("default")}) {
        if (!services_.themes.activate(candidate))
            continue;
        if (candidate != persisted) {
            services_.log.line(
                fmt::format("Theme '{}' unavailable; fell back to '{}'", persisted, candidate));
            services_.settings.setThemeID(QString::fromStdString(candidate));
        }
        return;
    }
    services_.log.line("No theme could be loaded. Morvel will be silent.");
}

void AppDelegate::passOnboardingGate() {
    const bool trusted = services_.permission.isTrusted();
    services_.log.line(
        fmt::format("onboarding gate: trusted={} force={}", trusted, forcePermissionWindow_));
    if (!trusted || forcePermissionWindow_)
        services_.permissionWindow.show(services_.permission);
}

void AppDelegate::trustChanged(bool trusted) {
    if (trusted) {
        services_.keyboard.start();
        services_.permissionWindow.close();
        return;
    }
    services_.log.line("Accessibility revoked mid-session — stopping input modules and "
                       "re-prompting");
    services_.keyboard.stop();
    services_.audio.stopLoop(0.1);
    services_.permissionWindow.show(services_.permission);
}

} // namespace morvel
