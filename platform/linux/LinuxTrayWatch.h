// Watches for the two kinds of tray: the host of the session bus's StatusNotifierWatcher, and the
// owner of the X screen's system tray selection. Costs nothing while nothing changes.
#pragma once

#include "platform/linux/X11Connection.h"
#include "platform/qt/TrayWatch.h"

#include <QDBusConnection>
#include <QObject>
#include <memory>

class QDBusPendingCallWatcher;

namespace morvel {

class LinuxTrayWatch final : public QObject, public TrayWatch {
    Q_OBJECT

public:
    // `connection` may be null (no X server) and must outlive the watch, which selects events of
    // its root window. There is no tray before the bus has told whether it knows a host, in a later
    // turn of the main run loop.
    LinuxTrayWatch(X11Connection* connection, const QDBusConnection& bus);
    ~LinuxTrayWatch() override;

    TrayKind kind() const override;
    void setChangeHandler(std::function<void()> changed) override { changed_ = std::move(changed); }

private slots:
    void askForHost();

private:
    void setHost(bool present);
    void tell();
    void watchSelection();
    void findOwner();
    void handle(const xcb_generic_event_t& event);
    xcb_atom_t atom(const std::string& name) const;

    X11Connection* connection_;
    QDBusConnection bus_;
    bool host_ = false;
    bool asked_; // the bus has answered, or there is none: before, an icon would settle too early
    TrayKind told_ = TrayKind::none;
    xcb_atom_t selection_ = XCB_NONE;
    xcb_atom_t managerMessage_ = XCB_NONE;
    xcb_window_t owner_ = XCB_NONE; // of the selection
    std::unique_ptr<X11Connection::Observation> observation_;
    std::function<void()> changed_;
};

} // namespace morvel
