// A whole desktop of the test's own: X server, session bus, window manager, panel with a tray, and
// a sound server that nobody hears. Everything lives in a temporary folder and is ended by process
// id.
#pragma once

#include "tests/support/PulseServer.h"
#include "tests/support/SessionBus.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/XClient.h"
#include "tests/support/XServer.h"

#include <QRect>
#include <memory>
#include <string>
#include <vector>

namespace morvel::test {

enum class Panel {
    none,
    tint2, // a tray of XEmbed icons
    xfce4, // StatusNotifierItem, and XEmbed
};

// Needs a QCoreApplication; main thread.
class DesktopSession {
public:
    struct Setup {
        XServer::Screen screen = {};
        Panel panel = Panel::tint2; // along the bottom, nothing but its tray
        bool windowManager = true;
        bool compositor = false;
        bool sound = false;
        bool unhurried = true; // see PulseServer::unhurried
        int dpi = 0;           // what the server's resources say (Xft.dpi); 0: they do not say
    };

    // Returns when everything is ready. Throws std::runtime_error where something cannot start.
    explicit DesktopSession(const Setup& setup);
    ~DesktopSession();
    DesktopSession(const DesktopSession&) = delete;
    DesktopSession& operator=(const DesktopSession&) = delete;

    // What a program of this session is started with, as ChildProcess::Setup takes it.
    std::vector<std::string> environment() const;
    // The user's home folder, which also holds the configuration, the data and the runtime folder.
    std::string home() const { return folder_.path().string(); }
    const std::string& display() const { return server_.display(); }

    XServer& server() { return server_; }
    SessionBus& bus() { return *bus_; }
    PulseServer& sound() { return sound_; }

    // Starts a panel and waits for its tray; ends it politely, or at once as a crash would.
    void startPanel(Panel panel);
    void stopPanel();
    void killPanel();
    // The panel's place on the screen.
    QRect panelArea() const;

private:
    std::unique_ptr<ChildProcess> start(std::vector<std::string> command) const;
    void setResources(int dpi);
    void startWindowManager();
    void startCompositor();

    const bool unhurried_;
    TemporaryFolder folder_;
    XServer server_;
    XClient x_;
    PulseServer sound_;
    std::unique_ptr<SessionBus> bus_;
    std::unique_ptr<ChildProcess> windowManager_;
    std::unique_ptr<ChildProcess> compositor_;
    std::unique_ptr<ChildProcess> panel_;
};

} // namespace morvel::test
