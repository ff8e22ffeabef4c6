// The whole program on a Wayland desktop, used by an ordinary user: a real compositor, a real bar
// with a tray, and keyboards of the test's own.

#include "tests/desktop/MorvelProcess.h"
#include "tests/support/InputDevices.h"
#include "tests/support/Screenshot.h"
#include "tests/support/SettingsFile.h"
#include "tests/support/TrayIcon.h"
#include "tests/support/WaylandSession.h"
#include "tools/audition/MonitorRecorder.h"

#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <csignal>
#include <cstdlib>
#include <thread>

namespace morvel::test {
namespace {

using namespace std::chrono_literals;

using Button = WaylandInput::Button;

constexpr QSize drawerSize{320, 400};
constexpr QPoint clickyButton{252, 287}; // in the drawer

// Entries of the bar's menu, from the middle of its top.
constexpr QPoint muteEntry{0, 18};
constexpr QPoint settingsEntry{0, 72};
constexpr QPoint quitEntry{0, 99};

QRect above(const QRect& place) {
    return {0, 0, WaylandSession::screen.width(), place.top()};
}

std::string installedProgram() {
    return std::getenv("MORVEL_INSTALLED_COPY");
}

class WaylandDesktop {
public:
    explicit WaylandDesktop(const WaylandSession::Setup& setup = {.sound = true})
        : session(setup)
        , settings(session.home() + "/.config")
        , keyboard(devices_.plug(InputDevices::keyboard())) {}
    // Ends the program first, so that it does not see its desktop go.
    ~WaylandDesktop() { morvel.reset(); }

    void launch(const std::vector<std::string>& options = {}) {
        morvel = std::make_unique<MorvelProcess>(session.home(), environment(), options,
                                                 installedProgram());
    }
    // Returns once it can be heard; answers whether that came.
    bool start(const std::vector<std::string>& options = {}) {
        launch(options);
        return morvel->awaitLine("event tap installed") && morvel->awaitLine("Audio output");
    }
    bool startAgain(const std::string& option) {
        ChildProcess second({{installedProgram(), option}, environment(), {}, {}});
        return second.wait(20s) == 0;
    }
    // Waits for a window of the program's until it is painted where it stays.
    std::optional<SwayWindow> await(const std::string& title) {
        const SwayControl::Wanted wanted = [&](const SwayWindow& window) {
            return window.title == title && window.pid == morvel->process().pid();
        };
        auto window = session.compositor().await(wanted);
        QImage last;
        session.awaitPicture([&](const QImage& now) {
            window = session.compositor().find(wanted);
            return !window || (session.isCovered(window->place.center(), now) &&
                               std::exchange(last, now) == now);
        });
        return window;
    }
    bool awaitNone(const std::string& title) {
        return session.compositor().awaitNone(windowTitled(title));
    }
    bool isShown(const std::string& title) {
        return session.compositor().find(windowTitled(title)).has_value();
    }
    bool clickIcon(Button button = Button::left) {
        const QRect icon = session.awaitIcon();
        if (!icon.isEmpty())
            session.input().click(icon.center(), button);
        return !icon.isEmpty();
    }
    // What the tray shows while the pointer is elsewhere.
    QImage tray() {
        session.input().move({5, 5});
        session.awaitIcon();
        return session.settledPicture().copy(WaylandSession::barArea);
    }
    bool trayChanges(const QImage& before) {
        tray();
        return !session
                    .awaitPicture([&](const QImage& now) {
                        return now.copy(WaylandSession::barArea) != before;
                    })
                    .isNull();
    }
    // Presses the right button on the icon until the bar shows the menu; answers its top's middle.
    std::optional<QPoint> openMenu() {
        const QRect icon = session.awaitIcon();
        session.input().move(icon.center());
        const QImage before = session.settledPicture();
        session.input().press(Button::right);
        QRect menu;
        QImage last;
        const QImage after = session.awaitPicture([&](const QImage& now) {
            constexpr int lowest = 60; // higher than a tooltip
            menu = difference(before, now) & above(icon);
            return menu.height() > lowest && std::exchange(last, now) == now;
        });
        session.input().release(Button::right);
        if (after.isNull())
            return std::nullopt;
        return QPoint(menu.center().x(), menu.top());
    }
    // What somebody hears who types now.
    bool typingSounds(std::chrono::milliseconds limit) {
        audition::MonitorRecorder recorder(PulseServer::monitor, session.sound().address());
        for (int i = 0; i < 5; ++i)
            keyboard.type(KEY_A);
        return recorder.awaitSound(0.001F, limit);
    }
    // Leaves a picture of the screen for whoever wants to look.
    void save(const std::string& name) {
        if (const char* folder = std::getenv("MORVEL_PICTURES"))
            session.settledPicture().save(
                QString::fromStdString(std::string(folder) + "/wayland-" + name + ".png"));
    }

private:
    std::vector<std::string> environment() const {
        std::vector<std::string> all = {
            "LD_PRELOAD=libumockdev-preload.so.0", "MORVEL_AUDIO_TRACE=1",
            // The library that redirects the program's calls stands before the sanitizer's, and
            // Qt's part for Wayland goes without freeing all it has.
            "ASAN_OPTIONS=detect_odr_violation=1:verify_asan_link_order=0:detect_leaks=0"};
        for (const std::string& variable : session.environment())
            all.push_back(variable);
        return all;
    }

    InputDevices devices_;

public:
    WaylandSession session;
    SettingsFile settings;
    InputDevice& keyboard;
    std::unique_ptr<MorvelProcess> morvel;
};

// A keyboard that is lost sooner after the pointer's leave counts as taken along by it.
void passPointersLeave() {
    std::this_thread::sleep_for(400ms);
}

SwayControl::Wanted focused(const std::string& title) {
    return [title](const SwayWindow& window) { return window.title == title && window.focused; };
}

TEST(WaylandDesktopTest, KeysSoundByTheirKindAndTheIconOpensTheDrawerAsAWindowOfItsSize) {
    WaylandDesktop desktop;
    ASSERT_TRUE(desktop.start());
    EXPECT_TRUE(desktop.typingSounds(10s));
    for (const auto& [key, kind] : {std::pair(KEY_SPACE, "space"), std::pair(KEY_TAB, "tab"),
                                    std::pair(KEY_BACKSPACE, "delete")}) {
        desktop.keyboard.type(key);
        EXPECT_TRUE(desktop.morvel->awaitLine(std::string("keyboard.") + kind + ".down"));
        EXPECT_TRUE(desktop.morvel->awaitLine(std::string("keyboard.") + kind + ".up"));
    }

    ASSERT_TRUE(desktop.clickIcon());
    auto drawer = desktop.await("Fidget Drawer");
    ASSERT_TRUE(drawer);
    desktop.save("drawer");
    EXPECT_EQ(drawer->place.size(), drawerSize);
    EXPECT_TRUE(drawer->floating);
    EXPECT_TRUE(drawer->focused);
    EXPECT_EQ(drawer->application, "app.morvel.Morvel");
    desktop.session.input().click(drawer->place.topLeft() + clickyButton);
    EXPECT_TRUE(desktop.morvel->awaitLine("fidget.button"));
    desktop.session.input().strike(KEY_ESC);
    ASSERT_TRUE(desktop.awaitNone("Fidget Drawer"));

    passReopeningPause();
    ASSERT_TRUE(desktop.clickIcon());
    ASSERT_TRUE(desktop.await("Fidget Drawer"));
    ASSERT_TRUE(desktop.clickIcon());
    ASSERT_TRUE(desktop.awaitNone("Fidget Drawer"));

    passReopeningPause();
    ASSERT_TRUE(desktop.clickIcon());
    drawer = desktop.await("Fidget Drawer");
    ASSERT_TRUE(drawer);
    desktop.session.input().move({5, 5}); // over the desktop, and into the drawer
    desktop.session.input().move(drawer->place.topLeft() + QPoint(5, 5));
    EXPECT_TRUE(desktop.isShown("Fidget Drawer"));
    desktop.session.input().move({5, 5});
    passPointersLeave();
    EXPECT_TRUE(desktop.isShown("Fidget Drawer"));
    desktop.session.input().click({5, 5});
    EXPECT_TRUE(desktop.awaitNone("Fidget Drawer"));
}

TEST(WaylandDesktopTest, WhereThePointerTakesTheKeyboardAlongTheDrawerStaysWhenThePointerLeavesIt) {
    WaylandDesktop desktop({.sound = true, .focusFollowsPointer = true});
    SwayControl& compositor = desktop.session.compositor();
    WaylandInput& input = desktop.session.input();
    ASSERT_TRUE(desktop.start());
    ASSERT_TRUE(desktop.startAgain("--settings"));
    ASSERT_TRUE(desktop.await("Morvel Settings"));
    ASSERT_TRUE(compositor.run("[title=\"Morvel Settings\"] move position 0 0"));
    const auto settings = compositor.await([](const SwayWindow& window) {
        constexpr int nearTheCorner = 50;
        return window.title == "Morvel Settings" && window.place.left() < nearTheCorner;
    });
    ASSERT_TRUE(settings);
    ASSERT_TRUE(desktop.clickIcon());
    const auto drawer = desktop.await("Fidget Drawer");
    ASSERT_TRUE(drawer);
    const QPoint inside = drawer->place.bottomRight() - QPoint(20, 20);
    const QPoint outside = settings->place.topLeft() + QPoint(20, 20);
    ASSERT_FALSE(settings->place.contains(inside));
    ASSERT_FALSE(drawer->place.contains(outside));
    for (int times = 0; times < 2; ++times) {
        input.move(inside);
        ASSERT_TRUE(compositor.await(focused("Fidget Drawer")));
        input.move(outside);
        ASSERT_TRUE(compositor.await(focused("Morvel Settings")));
        passPointersLeave();
    }
    EXPECT_TRUE(desktop.isShown("Fidget Drawer"));
    ASSERT_TRUE(desktop.clickIcon());
    EXPECT_TRUE(desktop.awaitNone("Fidget Drawer"));
}

TEST(WaylandDesktopTest, TheMenuOfARightClickMutesOpensTheSettingsAndQuits) {
    WaylandDesktop desktop;
    ASSERT_TRUE(desktop.start());
    const QImage sounding = desktop.tray();
    auto menu = desktop.openMenu();
    ASSERT_TRUE(menu);
    desktop.save("menu");
    desktop.session.input().click(*menu + muteEntry);
    ASSERT_TRUE(desktop.morvel->awaitLine("Mute toggled -> MUTED"));
    EXPECT_TRUE(desktop.settings.await("master.muted", true));
    EXPECT_TRUE(desktop.trayChanges(sounding));
    desktop.save("muted");
    EXPECT_FALSE(desktop.typingSounds(600ms));
    menu = desktop.openMenu();
    desktop.save("menu-muted");
    ASSERT_TRUE(menu);
    desktop.session.input().click(*menu + settingsEntry);
    const auto settings = desktop.await("Morvel Settings");
    ASSERT_TRUE(settings);
    desktop.save("settings");
    EXPECT_TRUE(settings->floating);
    menu = desktop.openMenu();
    ASSERT_TRUE(menu);
    desktop.session.input().click(*menu + quitEntry);
    EXPECT_EQ(desktop.morvel->process().wait(20s), 0);
    desktop.session.input().move({5, 5}); // it is seen on the bar like an icon
    EXPECT_TRUE(desktop.session.awaitNoIcon());
}

// Bars that draw no menus themselves ask for it.
TEST(WaylandDesktopTest, TheMenuThatTheProgramDrawsIsAWindowOfItsOwnSize) {
    WaylandDesktop desktop;
    ASSERT_TRUE(desktop.start());
    const pid_t program = desktop.morvel->process().pid();
    const auto item = StatusNotifierItem::await(desktop.session.bus(), program);
    ASSERT_TRUE(item);
    item->contextMenu();
    const auto menu = desktop.await("Morvel");
    ASSERT_TRUE(menu);
    EXPECT_TRUE(menu->floating);
    EXPECT_LT(menu->place.width(), 400);
    desktop.save("menu-as-window");
    desktop.session.input().click(menu->place.topLeft() + QPoint(40, 10));
    EXPECT_TRUE(desktop.morvel->awaitLine("Mute toggled -> MUTED"));
    EXPECT_TRUE(desktop.awaitNone("Morvel"));
    item->contextMenu();
    ASSERT_TRUE(desktop.await("Morvel"));
    desktop.session.input().strike(KEY_ESC);
    EXPECT_TRUE(desktop.awaitNone("Morvel"));
}

TEST(WaylandDesktopTest, ItAsksForAccessToTheKeyboardUntilItHasIt) {
    WaylandDesktop desktop;
    desktop.keyboard.setMode(0);
    desktop.launch();
    const auto window = desktop.await("Morvel");
    ASSERT_TRUE(window);
    desktop.save("permission");
    EXPECT_EQ(window->place.size(), QSize(420, 400));
    EXPECT_TRUE(window->floating);
    desktop.keyboard.setMode(0600);
    desktop.keyboard.uevent("change");
    EXPECT_TRUE(desktop.awaitNone("Morvel"));
    EXPECT_TRUE(desktop.typingSounds(10s));
}

TEST(WaylandDesktopTest, WhenTheCompositorGoesTheProgramEndsAndTheNextDesktopFindsItsSettings) {
    WaylandDesktop desktop;
    ASSERT_TRUE(desktop.start());
    ASSERT_TRUE(desktop.startAgain("--toggle-mute"));
    desktop.session.killCompositor(); // before the settings' delay is over
    EXPECT_EQ(desktop.morvel->process().wait(20s), 0);
    EXPECT_EQ(desktop.settings.value("master.muted"), true);
    EXPECT_FALSE(desktop.startAgain("--toggle-mute")); // nobody is left
}

TEST(WaylandDesktopTest, ABarThatComesLateOrAgainShowsTheIconAndWithoutOneTheDrawerIsAWindow) {
    WaylandDesktop desktop({.bar = false, .sound = true});
    ASSERT_TRUE(desktop.start());
    ASSERT_TRUE(desktop.startAgain("--open-drawer"));
    const auto drawer = desktop.await("Fidget Drawer");
    ASSERT_TRUE(drawer);
    EXPECT_EQ(drawer->place.size(), drawerSize);
    desktop.session.input().strike(KEY_ESC);
    ASSERT_TRUE(desktop.awaitNone("Fidget Drawer"));

    desktop.session.startBar();
    passReopeningPause();
    ASSERT_TRUE(desktop.clickIcon());
    ASSERT_TRUE(desktop.await("Fidget Drawer"));
    desktop.session.killBar();
    desktop.session.startBar();
    ASSERT_TRUE(desktop.clickIcon());
    EXPECT_TRUE(desktop.awaitNone("Fidget Drawer"));
    EXPECT_TRUE(desktop.morvel->process().running());
}

} // namespace
} // namespace morvel::test
