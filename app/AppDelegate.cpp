#include "app/AppDelegate.h"

#include <fmt/format.h>

#include <string>

namespace morvel {

AppDelegate::AppDelegate(Services services)
    : services_(services) {}

void AppDelegate::applicationDidFinishLaunching() {
    services_.settings.applyToAudioEngine();
    services_.catalog.ensureUserThemesDirectoryExists();
    services_.themes.refreshCatalog();
    chooseTheme();
    services_.permission.logIdentity();
    services_.permission.startMonitoring();
    services_.keyboard.start();
    QObject::connect(&services_.permission, &AccessibilityPermission::isTrustedChanged,
                     &trustObserver_, [this](bool trusted) { trustChanged(trusted); });
}

void AppDelegate::applicationWillTerminate() {
    services_.keyboard.stop();
    services_.permission.stopMonitoring();
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

void AppDelegate::trustChanged(bool trusted) {
    if (trusted) {
        services_.keyboard.start();
        return;
    }
    services_.log.line("Accessibility revoked mid-session — stopping input modules and "
                       "re-prompting");
    services_.keyboard.stop();
    services_.audio.stopLoop(0.1);
}

} // namespace morvel
