// A program's icon in the tray of the session's panel: where it is, and what it says of itself.
#pragma once

#include "tests/support/DesktopSession.h"
#include "tests/support/Screenshot.h"
#include "tests/support/WindowFinder.h"

#include <QImage>
#include <QVariant>
#include <optional>
#include <string>
#include <vector>

namespace morvel::test {

// Of a tray that holds one icon. Main thread.
class TrayIcon {
public:
    explicit TrayIcon(DesktopSession& session);

    // Waits for the icon to be painted; answers its place on the screen, empty where it does not
    // come. It is where the panel looks different from its own far end.
    QRect await(std::chrono::milliseconds limit = XClient::usualLimit);
    // Waits until the panel shows none.
    bool awaitNone(std::chrono::milliseconds limit = XClient::usualLimit);
    // What the panel shows at the icon's place.
    QImage picture();

private:
    QRect find(const QImage& panel) const;

    DesktopSession& session_;
    Screenshot screenshot_;
};

struct MenuEntry {
    int id = 0;
    std::string label; // with an underline's "_" as it travels
    bool separator = false;
    bool enabled = true;
    bool visible = true;
    bool checkable = false;
    bool checked = false;
    std::string shortcut; // "Control+Shift+M"; empty: none
    std::vector<MenuEntry> children;
};

// The icon as the panel gets it over the session bus (StatusNotifierItem), where it does.
// Main thread.
class StatusNotifierItem {
public:
    // Waits for a program's item; nothing where it registers none within `limit`.
    static std::optional<StatusNotifierItem>
    await(SessionBus& bus, pid_t program, std::chrono::milliseconds limit = XClient::usualLimit);

    // "Title", "IconName", "ToolTip" and so on; invalid where the item has none such.
    QVariant property(const QString& name) const;

    // The menu's entries, top level; empty where it has no menu.
    std::vector<MenuEntry> menu() const;
    // As if the user had chosen the entry.
    void choose(const MenuEntry& entry) const;
    // As a panel does that leaves the menu to the program.
    void contextMenu() const;

private:
    StatusNotifierItem(QDBusConnection connection, QString service, QString path)
        : connection_(std::move(connection))
        , service_(std::move(service))
        , path_(std::move(path)) {}

    QDBusConnection connection_;
    QString service_;
    QString path_;
};

} // namespace morvel::test
