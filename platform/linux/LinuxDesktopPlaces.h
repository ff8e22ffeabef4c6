// The nearest places of the known desktops, by the programs that are there.
//
// Programs are started without a shell and by a name of ours: the environment only chooses among
// them.
#pragma once

#include "platform/DesktopPlaces.h"

#include <QDBusConnection>
#include <QObject>
#include <QStringList>
#include <filesystem>
#include <string>
#include <vector>

namespace morvel {

class LinuxDesktopPlaces : public DesktopPlaces {
public:
    struct Setup {
        std::string currentDesktop; // XDG_CURRENT_DESKTOP: names separated by colons, best first
        std::string searchPath;     // where programs are looked for
        bool hearsEveryProgram;     // whether the session lets a program hear keys meant for others
        std::filesystem::path autostartEntry; // what our own login item writes
        // The program that gives access to keyboards in a session that lets no program hear others'
        // keys; empty where it is not installed.
        std::filesystem::path keyboardAccess = {};
    };

    // `session` is where file browsers listen; it may be no connection at all.
    LinuxDesktopPlaces(Setup setup, QDBusConnection session);

    std::string systemName() const override;
    bool givesAccessToPerson() const override;
    void openAccessibilitySettings(const Otherwise& otherwise) override;
    void openLoginItems(const Otherwise& otherwise) override;
    // Asks the desktop's file browser over D-Bus, and where none answers the program "xdg-open".
    void reveal(const std::filesystem::path& folder, const Otherwise& otherwise) override;

private:
    void openFolder(const std::filesystem::path& folder, const Otherwise& otherwise);
    // Starts the first of the commands whose program is there; answers whether there was one.
    bool startedFirst(const std::vector<QStringList>& commands) const;

    const Setup setup_;
    QDBusConnection session_;
    QObject pending_; // the calls and processes whose outcome is awaited
};

} // namespace morvel
