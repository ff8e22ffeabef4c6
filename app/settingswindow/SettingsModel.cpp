#include "app/settingswindow/SettingsModel.h"

#include <chrono>
#include <cstdint>
#include <string_view>

namespace morvel {

namespace {

constexpr std::chrono::seconds soundWatchInterval(1);

QString describe(const AudioOutput& output) {
    const std::string_view name = output.serverName();
    QString server = QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size()));
    const std::uint32_t period = output.periodFrames();
    switch (output.state()) {
    case AudioOutputState::starting:
        return QStringLiteral("Looking for a sound server…");
    case AudioOutputState::lost:
        return QStringLiteral("No sound output. Morvel keeps trying.");
    default:
        break;
    }
    if (period == 0)
        return server;
    return QStringLiteral("%1, %2 frames (%3 ms)")
        .arg(server)
        .arg(period)
        .arg(period / 44.1, 0, 'f', 1);
}

} // namespace

SettingsModel::SettingsModel(Services services)
    : services_(services)
    , themes_(services.themes)
    , keyboard_(services.settings, SoundModule::keyboard)
    , fidget_(services.settings, SoundModule::fidget) {
    connect(&services.themes, &ThemeController::lastErrorChanged, this,
            &SettingsModel::lastErrorChanged);
    // Later: the system is asked only once the setting has its new value.
    connect(&services.settings, &AppSettings::launchAtLoginChanged, this,
            &SettingsModel::launchAtLoginChanged, Qt::QueuedConnection);
    // The output's own events are the engine's, and do not tell of a period.
    connect(&soundWatch_, &QTimer::timeout, this, &SettingsModel::lookAtSoundOutput);
}

void SettingsModel::refreshBeforeShowing() {
    lookAtSoundOutput();
    services_.themes.refreshCatalog();
    syncLaunchAtLogin();
    services_.permission.refresh();
}

void SettingsModel::refreshOnScreen() {
    lookAtSoundOutput();
    soundWatch_.start(soundWatchInterval);
    services_.permission.refresh();
    syncLaunchAtLogin();
    services_.themes.refreshCatalog();
}

void SettingsModel::leaveScreen() {
    soundWatch_.stop();
}

void SettingsModel::lookAtSoundOutput() {
    const QString now = describe(services_.output);
    if (now == soundOutput_)
        return;
    soundOutput_ = now;
    emit soundOutputChanged();
}

// The status text may change where the switch does not: approval may be needed, or the copy moved.
void SettingsModel::syncLaunchAtLogin() {
    services_.settings.syncLaunchAtLogin();
    emit launchAtLoginChanged();
}

QVariant SettingsModel::modules() {
    return QVariant::fromValue(QObjectList{&keyboard_, &fidget_});
}

QString SettingsModel::lastError() const {
    return QString::fromStdString(services_.themes.lastError().value_or(""));
}

bool SettingsModel::canLaunchAtLogin() const {
    return !services_.login.unavailability();
}

QString SettingsModel::launchAtLoginStatus() const {
    return QString::fromStdString(services_.login.statusDescription());
}

bool SettingsModel::loginItemNeedsUser() const {
    return services_.login.needsUser();
}

void SettingsModel::activateTheme(int row) {
    if (const auto id = themes_.idAt(row))
        services_.themes.activate(*id, &services_.settings);
}

void SettingsModel::rescan() {
    services_.themes.refreshCatalog();
}

void SettingsModel::revealThemesFolder() {
    services_.catalog.ensureUserThemesDirectoryExists();
    services_.places.reveal(services_.catalog.userThemesDirectory(), showHelp());
}

void SettingsModel::openSystemSettings() {
    services_.places.openAccessibilitySettings(showHelp());
}

void SettingsModel::openLoginItems() {
    services_.places.openLoginItems(showHelp());
}

DesktopPlaces::Otherwise SettingsModel::showHelp() {
    return [&help = services_.help](const HelpPage& page) { help.show(page); };
}

} // namespace morvel
