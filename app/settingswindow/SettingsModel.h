// What the settings window shows beside the plain settings, and what its buttons do.
//
// Main thread, all of it.
#pragma once

#include "app/helpwindow/HelpWindowController.h"
#include "app/login/LaunchAtLogin.h"
#include "app/settings/AppSettings.h"
#include "app/settingswindow/ModuleSettings.h"
#include "app/settingswindow/ThemeListModel.h"
#include "app/trust/AccessibilityPermission.h"
#include "platform/AudioOutput.h"
#include "platform/DesktopPlaces.h"
#include "platform/HotKeyService.h"
#include "themes/ThemeCatalog.h"
#include "themes/controller/ThemeController.h"

#include <QObject>
#include <QString>
#include <QTimer>
#include <QVariant>

namespace morvel {

class SettingsModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(QVariant modules READ modules CONSTANT)
    Q_PROPERTY(QString lastError READ lastError NOTIFY lastErrorChanged)
    Q_PROPERTY(bool canLaunchAtLogin READ canLaunchAtLogin NOTIFY launchAtLoginChanged)
    Q_PROPERTY(QString launchAtLoginStatus READ launchAtLoginStatus NOTIFY launchAtLoginChanged)
    Q_PROPERTY(QString soundOutput READ soundOutput NOTIFY soundOutputChanged)
    Q_PROPERTY(QString shortcutStatus READ shortcutStatus NOTIFY shortcutStatusChanged)
    Q_PROPERTY(bool loginItemNeedsUser READ loginItemNeedsUser NOTIFY launchAtLoginChanged)

public:
    // All must outlive the model.
    struct Services {
        AppSettings& settings;
        ThemeController& themes;
        AccessibilityPermission& permission;
        const ThemeCatalog& catalog;
        const LaunchAtLogin& login;
        const AudioOutput& output;
        const HotKeyService& hotKeys;
        DesktopPlaces& places;
        HelpWindowController& help;
    };

    explicit SettingsModel(Services services);

    ThemeListModel& themes() { return themes_; }

    // Takes the state of the world anew: before the window is brought to the front, and each time
    // it has come on screen; from then on what the sound goes to and who listens for
    // the shortcut are kept up to date, until the window has left the screen.
    void refreshBeforeShowing();
    void refreshOnScreen();
    void leaveScreen();

    // A module's settings each, in the modules' order.
    QVariant modules();
    QString lastError() const; // why the last theme was refused; empty when it was not
    bool canLaunchAtLogin() const;
    QString launchAtLoginStatus() const;
    bool loginItemNeedsUser() const;
    // What the sound goes to, and in how long periods.
    QString soundOutput() const { return soundOutput_; }
    // Who listens for the mute shortcut; empty where it is the program's own.
    QString shortcutStatus() const { return shortcutStatus_; }

    Q_INVOKABLE void activateTheme(int row);
    Q_INVOKABLE void rescan();
    Q_INVOKABLE void revealThemesFolder();
    Q_INVOKABLE void openSystemSettings();
    Q_INVOKABLE void openLoginItems();

signals:
    void lastErrorChanged();
    void launchAtLoginChanged();
    void soundOutputChanged();
    void shortcutStatusChanged();

private:
    void look();
    void syncLaunchAtLogin();
    DesktopPlaces::Otherwise showHelp();

    const Services services_;
    ThemeListModel themes_;
    ModuleSettings keyboard_;
    ModuleSettings fidget_;
    QString soundOutput_;
    QString shortcutStatus_;
    QTimer watch_;
};

} // namespace morvel
