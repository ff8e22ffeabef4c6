#include "app/settingswindow/SettingsModel.h"

#include <chrono>
#include <cstdint>
#include <string_view>
#include <utility>

namespace morvel {

namespace {

constexpr std::chrono::seconds watchInterval(1);

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

QString describe(const HotKeyDelivery& delivery) {
    using Way = HotKeyDelivery::Way;
    switch (delivery.way) {
    case Way::claimed:
        return {};
    case Way::desktop:
        return delivery.keys.empty()
                   ? QStringLiteral("Mute shortcut: your desktop listens for it. Its keyboard "
                                    "settings say which keys it has.")
                   : QStringLiteral("Mute shortcut: your desktop listens for it, as %1.")
                         .arg(QString::fromStdString(delivery.keys));
    case Way::keyboards:
        return QStringLiteral("Mute shortcut: Morvel watches the keyboard for it. The program in "
                              "front gets the keys, too.");
    case Way::asking:
        return QStringLiteral("Mute shortcut: waiting for your desktop’s answer.");
    case Way::deciding:
        return QStringLiteral("Mute shortcut: waiting for your answer to your desktop.");
    case Way::declined:
        return QStringLiteral(
            "Mute shortcut: none, as you declined it. Your desktop is asked again "
            "when Morvel is started again.");
    case Way::none:
        break;
    }
    return QStringLiteral("Mute shortcut: works as soon as Morvel can hear keys.");
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
    // What tells of changes has one listener, which is the engine or the service itself; and an
    // output does not tell of a period.
    connect(&watch_, &QTimer::timeout, this, &SettingsModel::look);
}

void SettingsModel::refreshBeforeShowing() {
    look();
    services_.themes.refreshCatalog();
    syncLaunchAtLogin();
    services_.permission.refresh();
}

void SettingsModel::refreshOnScreen() {
    look();
    watch_.start(watchInterval);
    services_.permission.refresh();
    syncLaunchAtLogin();
    services_.themes.refreshCatalog();
}

void SettingsModel::leaveScreen() {
    watch_.stop();
}

void SettingsModel::look() {
    if (std::exchange(soundOutput_, describe(services_.output)) != soundOutput_)
        emit soundOutputChanged();
    if (std::exchange(shortcutStatus_, describe(services_.hotKeys.delivery())) != shortcutStatus_)
        emit shortcutStatusChanged();
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
