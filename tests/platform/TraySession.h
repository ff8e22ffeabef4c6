// A desktop of the test's own around the test program itself: X server, window manager and panel,
// with or without a session bus. The program's environment is changed, so build it before Qt's
// application.
#pragma once

#include "platform/linux/LinuxTrayWatch.h"
#include "platform/qt/QtStatusBar.h"
#include "tests/support/AwaitWindowManager.h"
#include "tests/support/MainLoop.h"
#include "tests/support/PointerInjector.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/XServer.h"
#include "tools/audition/KeyInjector.h"
#include "views/Symbols.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QImage>
#include <QMenu>
#include <QPixmap>
#include <QScreen>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace morvel::test {

class TraySession {
public:
    static constexpr int panelHeight = 28; // at the top

    explicit TraySession(bool withBus) {
        set("DISPLAY", server_.display());
        set("HOME", folder_.path().string());
        set("XDG_CONFIG_HOME", folder_.folder("config").string());
        const auto runtime = folder_.folder("run");
        std::filesystem::permissions(runtime, std::filesystem::perms::owner_all);
        set("XDG_RUNTIME_DIR", runtime.string());
        set("QT_QPA_PLATFORM", "xcb");
        set("QT_QUICK_BACKEND", "software");
        set("NO_AT_BRIDGE", "1");
        // A manager without bindings leaves clicks with modifiers to others.
        const auto rules = folder_.file("openbox.xml", "<openbox_config><mouse></mouse><keyboard>"
                                                       "</keyboard></openbox_config>");
        set("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + (folder_ / "run/bus").string());
        if (withBus)
            bus_ = start({"dbus-daemon", "--session", "--nofork",
                          "--address=unix:path=" + (folder_ / "run/bus").string()});
        windowManager_ = start({"openbox", "--config-file", rules.string()});
        awaitWindowManager(server_.display(), *windowManager_);
        while (withBus && !std::filesystem::exists(folder_ / "run/bus"))
            if (!bus_->running())
                throw std::runtime_error("the session bus did not start");
    }

    static TraySession*& current() {
        static TraySession* session = nullptr;
        return session;
    }

    const std::string& display() const { return server_.display(); }

    // A light or a dark panel with nothing but a tray of windows.
    void startEmbeddingPanel(const std::string& colour = "#f4f4f4") {
        const auto rules = folder_.file(
            "tint2rc", "rounded = 0\nborder_width = 0\nbackground_color = " + colour +
                           " 100\npanel_items = S\npanel_position = top right horizontal\n"
                           "panel_size = 100% 28\npanel_background_id = 1\npanel_layer = top\n"
                           "strut_policy = follow_size\nsystray_padding = 2 2 2\n");
        panel_ = start({"tint2", "-c", rules.string()});
    }

    // A panel that is told of icons over the bus.
    void startNotifierPanel() {
        folder_.folder("config/xfce4/xfconf/xfce-perchannel-xml");
        folder_.file("config/xfce4/xfconf/xfce-perchannel-xml/xfce4-panel.xml",
                     R"(<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-panel" version="1.0">
  <property name="configver" type="int" value="2"/>
  <property name="panels" type="array"><value type="int" value="1"/>
    <property name="panel-1" type="empty">
      <property name="position" type="string" value="p=6;x=0;y=0"/>
      <property name="length" type="uint" value="100"/>
      <property name="position-locked" type="bool" value="true"/>
      <property name="size" type="uint" value="28"/>
      <property name="plugin-ids" type="array"><value type="int" value="1"/><value type="int" value="2"/></property>
    </property>
  </property>
  <property name="plugins" type="empty">
    <property name="plugin-1" type="string" value="separator">
      <property name="expand" type="bool" value="true"/><property name="style" type="uint" value="0"/></property>
    <property name="plugin-2" type="string" value="systray"/>
  </property>
</channel>
)");
        panel_ = start({"xfce4-panel", "--disable-wm-check"});
    }

    void stopPanel() { panel_.reset(); }

    // The icon in the panel: what differs from the panel's own colour. Empty while there is none.
    static QRect iconPlace() {
        const QImage seen =
            QGuiApplication::primaryScreen()->grabWindow(0, 0, 0, -1, panelHeight - 2).toImage();
        const int panel = qGray(seen.pixel(seen.width() / 2, 4));
        QRect place;
        for (int y = 2; y < seen.height(); ++y)
            for (int x = 0; x < seen.width(); ++x)
                if (std::abs(qGray(seen.pixel(x, y)) - panel) > 60)
                    place |= QRect(x, y, 1, 1);
        return place.width() >= 8 && place.height() >= 8 ? place : QRect();
    }
    // Whether there is something light at this point, where the bare desktop is black.
    static bool isCovered(const QPoint& at) {
        const QImage seen =
            QGuiApplication::primaryScreen()->grabWindow(0, at.x(), at.y(), 1, 1).toImage();
        return qGray(seen.pixel(0, 0)) > 100;
    }
    // The darkest or the lightest part of the icon, whichever stands out from the panel.
    static int iconLightness() {
        const QRect place = iconPlace();
        const QImage seen = QGuiApplication::primaryScreen()
                                ->grabWindow(0, place.x(), place.y(), place.width(), place.height())
                                .toImage();
        return qGray(seen.pixel(seen.width() / 2 - 1, seen.height() - 4));
    }

private:
    static void set(const char* name, const std::string& value) { qputenv(name, value.c_str()); }
    static std::unique_ptr<ChildProcess> start(std::vector<std::string> command) {
        return std::make_unique<ChildProcess>(
            ChildProcess::Setup{std::move(command), {}, "/dev/null", {}});
    }

    TemporaryFolder folder_;
    XServer server_;
    std::unique_ptr<ChildProcess> bus_;
    std::unique_ptr<ChildProcess> windowManager_;
    std::unique_ptr<ChildProcess> panel_;
};

// What other clients draw comes with no event of ours: looks again and again.
inline bool seen(const std::function<bool()>& done) {
    QTimer look;
    look.start(std::chrono::milliseconds(20));
    return runUntil(done, std::chrono::seconds(8));
}

// A test with an item in whatever tray there is.
class TrayTest : public testing::Test {
protected:
    TrayTest()
        : connection_(X11Connection::open())
        , watch_(connection_.get(), QDBusConnection::sessionBus())
        , bar_(watch_, symbolIcon)
        , pointer_(session().display())
        , keys_(session().display()) {
        pointer_.move(5, 790);
    }
    ~TrayTest() override {
        item_.reset();
        session().stopPanel();
    }

    static TraySession& session() { return *TraySession::current(); }

    void makeItem() {
        item_ = bar_.makeItem();
        item_->setClickHandler([this](StatusItemClick click) { clicks_.push_back(click); });
        item_->setBarHandler([this] { ++barChanges_; });
        item_->setImage("dial.medium.fill", "Morvel — sounding");
        item_->setToolTip("Morvel");
        item_->setMenu({{.title = "Mute", .action = [this] { chosen_ += "mute "; }},
                        {},
                        {.title = "Quit Morvel",
                         .action = [this] { chosen_ += "quit "; },
                         .keyEquivalent = "q"}});
    }
    // And has come to rest: panels move their icons about while they arrange themselves.
    bool appears() {
        return comesToRest([this] { return item_->isInBar(); });
    }
    static bool comesToRest(const std::function<bool()>& isInBar) {
        QRect place;
        QElapsedTimer unchanged;
        unchanged.start();
        return seen([&] {
            const QRect now = isInBar() ? TraySession::iconPlace() : QRect();
            if (now != place || now.isEmpty())
                unchanged.start();
            place = now;
            return unchanged.elapsed() > 150;
        });
    }
    void click(int button = 1) {
        const QPoint at = TraySession::iconPlace().center();
        pointer_.click(at.x(), at.y(), button);
    }
    static QMenu* openMenu() { return qobject_cast<QMenu*>(QApplication::activePopupWidget()); }
    void type(xkb_keysym_t key) {
        keys_.press(key);
        keys_.release(key);
    }

    std::unique_ptr<X11Connection> connection_;
    LinuxTrayWatch watch_;
    QtStatusBar bar_;
    PointerInjector pointer_;
    audition::KeyInjector keys_;
    std::unique_ptr<StatusItem> item_;
    std::vector<StatusItemClick> clicks_;
    std::string chosen_;
    int barChanges_ = 0;
};

inline int runTrayTests(int argc, char** argv, bool withBus) {
    testing::InitGoogleTest(&argc, argv);
    if (testing::GTEST_FLAG(list_tests))
        return RUN_ALL_TESTS();
    TraySession session(withBus);
    TraySession::current() = &session;
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    return RUN_ALL_TESTS();
}

} // namespace morvel::test
