// A whole desktop with the program in it, and what its user sees and does there.
#pragma once

#include "tests/desktop/MorvelProcess.h"
#include "tests/support/DesktopSession.h"
#include "tests/support/Pointer.h"
#include "tests/support/Screenshot.h"
#include "tests/support/SettingsFile.h"
#include "tests/support/TrayIcon.h"
#include "tests/support/WindowFinder.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace morvel::test {

// Where the toys are in the drawer, from the corner of its sheet, in pixels of a screen of 96 dpi.
struct DrawerPlaces {
    static constexpr QSize size{320, 400};
    static constexpr QPoint toggleSwitch{99, 107};
    static constexpr QPoint dial{252, 107};
    static constexpr QPoint button{252, 287};
    static constexpr QPoint reset{99, 351};
    static constexpr QRect muted{200, 12, 108, 16};
    static constexpr QPoint bubble(int index) {
        return {35 + index % 5 * 32, 228 + index / 5 * 32};
    }
    // A point of the dial's face, `degrees` from the right, clockwise.
    static QPoint onDial(double degrees);
};

// Needs a QCoreApplication; main thread.
class MorvelDesktop {
public:
    explicit MorvelDesktop(const DesktopSession::Setup& setup);
    // Ends the program first, so that it does not see its desktop go.
    ~MorvelDesktop();

    // Starts the program and waits until it listens to the keyboard and, in a session with sound,
    // can be heard; answers whether that came.
    bool start(const std::vector<std::string>& environment = {},
               const std::vector<std::string>& options = {});
    // Starts it a second time, as a menu entry of the desktop does; answers whether the first one
    // was reached.
    bool startAgain(const std::string& option = "--open-drawer");
    pid_t pid() { return morvel->process().pid(); }

    Wanted ofMorvel() { return ofProcess(pid()); }
    Wanted isDrawer() { return ofMorvel() && titled("Fidget Drawer"); }
    // The menu where the program draws it itself, and where the panel does.
    Wanted isMenu(Panel panel);

    // Clicks the tray's icon; false where there is none.
    bool clickIcon(Pointer::Button button = Pointer::left);
    // What the icon looks like once it has come to rest: it takes its colour from the panel.
    QImage settledIcon();
    // Waits for the drawer, with the keyboard and all it shows painted; answers its place, without
    // a shadow.
    std::optional<QRect> awaitDrawer();
    bool awaitNoDrawer() { return windows.awaitNone(isDrawer()); }
    bool isDrawerOpen() { return windows.find(isDrawer()).has_value(); }

    // Leaves a picture of the screen for whoever wants to look.
    void save(const std::string& name);

    DesktopSession session;
    SettingsFile settings;
    WindowFinder windows;
    Screenshot screenshot;
    QRect screen;
    Pointer pointer;
    audition::KeyInjector keys;
    TrayIcon icon;
    std::unique_ptr<MorvelProcess> morvel;

private:
    const bool sound_;
};

// Another program's window, of one colour; a click gives it the keyboard.
class OtherWindow {
public:
    // Returns once it is on the screen.
    OtherWindow(MorvelDesktop& desktop, const QRect& place);

    QPoint centre() const { return place_.center(); }
    bool awaitKeyboard();
    xcb_connection_t* connection() const { return x_.handle(); }
    xcb_window_t root() const { return x_.root(); }
    void settle() { x_.settle(); }

private:
    MorvelDesktop& desktop_;
    QRect place_;
    XClient x_;
    xcb_window_t id_;
};

std::string nameOf(Panel panel);

} // namespace morvel::test
