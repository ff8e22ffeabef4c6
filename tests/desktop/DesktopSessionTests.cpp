// The desktop in which the program is tested, proven by a program that is nothing but an icon in
// its tray.

#include "tests/support/DesktopSession.h"
#include "tests/support/LinePipe.h"
#include "tests/support/MainLoop.h"
#include "tests/support/Pointer.h"
#include "tests/support/Screenshot.h"
#include "tests/support/SettingsFile.h"
#include "tests/support/TrayIcon.h"
#include "tests/support/WindowFinder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

namespace morvel::test {
namespace {

using namespace std::chrono_literals;

bool isMagenta(QRgb pixel) {
    return alike(pixel, qRgb(255, 0, 255));
}

// A desktop, and the tray program in it.
class Scene {
public:
    explicit Scene(const DesktopSession::Setup& setup)
        : session(setup) {}

    void startProgram() {
        program = std::make_unique<ChildProcess>(
            ChildProcess::Setup{{TRAY_PROGRAM}, session.environment(), lines.path(), {}});
        ASSERT_TRUE(lines.take("shown"));
    }

    // Where the icon is on the screen; empty: nowhere.
    QRect awaitIcon() {
        QRect icon;
        bool inTime = false;
        screenshot.await(
            screen,
            [&](const QImage& picture) {
                icon = boundsOf(picture, isMagenta);
                return icon.width() >= 12 && icon.height() >= 12;
            },
            inTime);
        return inTime ? icon : QRect();
    }

    // Leaves a picture for whoever wants to look.
    void save(const std::string& name) {
        if (const char* folder = std::getenv("MORVEL_PICTURES"))
            screenshot.take().save(
                QString::fromStdString(std::string(folder) + "/" + name + ".png"));
    }

    DesktopSession session;
    LinePipe lines{session.home() + "/lines"};
    WindowFinder windows{session.display()};
    Screenshot screenshot{session.display()};
    QRect screen = screenshot.take().rect();
    Pointer pointer{session.display()};
    std::unique_ptr<ChildProcess> program;
};

std::string nameOf(const testing::TestParamInfo<Panel>& info) {
    return info.param == Panel::tint2 ? "Tint2" : "Xfce4";
}

class TrayTest : public testing::TestWithParam<Panel> {
protected:
    std::string picture(const std::string& what) const {
        return (GetParam() == Panel::tint2 ? "tint2-" : "xfce4-") + what;
    }
};

INSTANTIATE_TEST_SUITE_P(Panels, TrayTest, testing::Values(Panel::tint2, Panel::xfce4), nameOf);

TEST_P(TrayTest, AnIconAppearsWithinThePanelAndIsClicked) {
    Scene scene({.panel = GetParam()});
    scene.startProgram();
    EXPECT_TRUE(scene.lines.await("tray there"));
    const QRect icon = scene.awaitIcon();
    scene.save(picture("icon"));
    ASSERT_FALSE(icon.isEmpty());
    EXPECT_TRUE(scene.session.panelArea().contains(icon));
    scene.pointer.click(icon.center());
    EXPECT_TRUE(scene.lines.take("activated 3"));
    const auto window =
        scene.windows.await(ofProcess(scene.program->pid()) && titled("Tray Program"));
    ASSERT_TRUE(window);
    scene.pointer.click(icon.center(), Pointer::middle);
    EXPECT_TRUE(scene.lines.take("activated 4"));
}

TEST_P(TrayTest, ARightClickOpensTheMenuAndItsItemIsChosen) {
    Scene scene({.panel = GetParam()});
    scene.startProgram();
    const QRect icon = scene.awaitIcon();
    ASSERT_FALSE(icon.isEmpty());
    scene.pointer.click(icon.center(), Pointer::right);
    EXPECT_TRUE(scene.lines.take("menu opens"));
    const auto menu = scene.windows.await([&](const Window& window) {
        return window.overrideRedirect && window.geometry.height() > 40;
    });
    ASSERT_TRUE(menu);
    scene.save(picture("menu"));
    EXPECT_EQ(menu->pid == scene.program->pid(), GetParam() == Panel::tint2);
    // The second of three and a separator.
    scene.pointer.click(menu->geometry.center() - QPoint(0, 6));
    EXPECT_TRUE(scene.lines.take("second chosen"));
    EXPECT_TRUE(
        scene.windows.awaitNone([&](const Window& window) { return window.id == menu->id; }));
}

TEST_P(TrayTest, AnIconReturnsWithAPanelThatWasKilled) {
    Scene scene({.panel = GetParam()});
    scene.startProgram();
    ASSERT_FALSE(scene.awaitIcon().isEmpty());
    scene.session.killPanel();
    scene.save(picture("without-panel"));
    scene.session.startPanel(GetParam());
    const QRect icon = scene.awaitIcon();
    scene.save(picture("with-new-panel"));
    ASSERT_FALSE(icon.isEmpty());
    scene.pointer.click(icon.center());
    EXPECT_TRUE(scene.lines.take("activated 3"));
}

TEST_P(TrayTest, AnIconComesIntoATrayThatStartsAfterTheProgram) {
    Scene scene({.panel = Panel::none});
    scene.startProgram();
    EXPECT_TRUE(scene.lines.await("tray missing"));
    scene.session.startPanel(GetParam());
    const QRect icon = scene.awaitIcon();
    scene.save(picture("late"));
    ASSERT_FALSE(icon.isEmpty());
    scene.pointer.click(icon.center());
    EXPECT_TRUE(scene.lines.take("activated 3"));
}

TEST_P(TrayTest, AnIconIsFoundWithoutKnowingWhatItLooksLike) {
    Scene scene({.panel = GetParam()});
    TrayIcon icon(scene.session);
    EXPECT_TRUE(icon.awaitNone());
    scene.startProgram();
    const QRect place = icon.await();
    EXPECT_EQ(place, scene.awaitIcon());
    EXPECT_TRUE(isMagenta(icon.picture().pixel(4, 4)));
    scene.program.reset();
    EXPECT_TRUE(icon.awaitNone());
}

TEST(StatusNotifierItemTest, ItsMenuIsReadAndChosenFromOverTheBus) {
    Scene scene({.panel = Panel::xfce4});
    scene.startProgram();
    const auto item = StatusNotifierItem::await(scene.session.bus(), scene.program->pid());
    ASSERT_TRUE(item);
    EXPECT_EQ(item->property("Category").toString(), "ApplicationStatus");
    const auto menu = item->menu();
    ASSERT_EQ(menu.size(), 4u);
    EXPECT_EQ(menu[0].label, "First");
    EXPECT_TRUE(menu[0].enabled);
    EXPECT_FALSE(menu[0].checkable);
    EXPECT_TRUE(menu[2].separator);
    EXPECT_EQ(menu[3].label, "Third");
    EXPECT_TRUE(menu[3].checkable);
    EXPECT_TRUE(menu[3].checked);
    EXPECT_FALSE(menu[3].enabled);
    EXPECT_EQ(menu[3].shortcut, "Control+T");
    item->choose(menu[1]);
    EXPECT_TRUE(scene.lines.take("second chosen"));
}

TEST(SettingsFileTest, AChangeIsWaitedFor) {
    TemporaryFolder folder;
    const SettingsFile settings(folder.path());
    EXPECT_TRUE(settings.value("volume").is_null());
    settings.write({{"volume", 0.5}});
    EXPECT_EQ(settings.value("volume"), 0.5);
    EXPECT_TRUE(settings.await("volume", 0.5));
    EXPECT_FALSE(settings.await("volume", 0.25, 1ms));
    const ChildProcess later(
        {{"sh", "-c", "echo '{\"volume\": 0.25}' > '" + settings.path().string() + "'"},
         {},
         {},
         {}});
    EXPECT_TRUE(settings.await("volume", 0.25));
}

TEST(DesktopSessionTest, KeysGoToTheFocusedWindow) {
    Scene scene({});
    scene.startProgram();
    scene.pointer.click(scene.awaitIcon().center());
    const Wanted wanted = titled("Tray Program");
    ASSERT_TRUE(scene.windows.awaitFocus(ofProcess(scene.program->pid())));
    audition::KeyInjector keys(scene.session.display());
    strike(keys, XKB_KEY_a, {XKB_KEY_Shift_L});
    strike(keys, XKB_KEY_b);
    EXPECT_TRUE(scene.lines.take("typed Ab"));
    const auto window = scene.windows.find(wanted);
    ASSERT_TRUE(window);
    EXPECT_EQ(window->geometry.size(), QSize(300, 100));
    scene.windows.close(*window);
    EXPECT_TRUE(scene.windows.awaitNone(wanted));
}

TEST(DesktopSessionTest, ADraggedPointerEndsWhereItWasToAndMovesAWindow) {
    Scene scene({});
    scene.startProgram();
    scene.pointer.click(scene.awaitIcon().center());
    const Wanted wanted = titled("Tray Program");
    const auto before = scene.windows.await(wanted);
    ASSERT_TRUE(before);
    // By its title bar, which is above what is the program's.
    const QPoint bar(before->geometry.center().x(), before->geometry.top() - 8);
    scene.pointer.drag({bar, bar + QPoint(60, 50), bar + QPoint(120, -20)});
    EXPECT_EQ(scene.pointer.position(), bar + QPoint(120, -20));
    EXPECT_TRUE(scene.windows.await([&](const Window& window) {
        return wanted(window) &&
               window.geometry.topLeft() == before->geometry.topLeft() + QPoint(120, -20);
    }));
}

TEST(DesktopSessionTest, TheScreenIsAsLargeAndDenseAsAsked) {
    Scene scene({.screen = {1600, 900, 192}, .panel = Panel::none, .dpi = 192});
    EXPECT_EQ(scene.screen.size(), QSize(1600, 900));
    XClient x(scene.session.display());
    EXPECT_NEAR(x.screen().width_in_millimeters, 1600 * 25.4 / 192, 2);
    EXPECT_EQ(x.text(x.root(), "RESOURCE_MANAGER"), "Xft.dpi:\t192\n");
}

TEST(DesktopSessionTest, AtTwiceTheDensityAWindowHasTwiceThePixels) {
    Scene scene({.screen = {1600, 900, 192}, .dpi = 192});
    scene.startProgram();
    scene.pointer.click(scene.awaitIcon().center());
    const auto window = scene.windows.await(titled("Tray Program"));
    scene.save("dense");
    ASSERT_TRUE(window);
    EXPECT_EQ(window->geometry.size(), QSize(600, 200));
}

TEST(DesktopSessionTest, ACompositorAndASoundServerAreThereIfAskedFor) {
    Scene scene({.panel = Panel::tint2, .compositor = true, .sound = true});
    XClient x(scene.session.display());
    EXPECT_NE(x.owner("_NET_WM_CM_S0"), static_cast<xcb_window_t>(XCB_NONE));
    EXPECT_TRUE(scene.session.sound().running());
    scene.startProgram();
    const QRect icon = scene.awaitIcon();
    scene.save("composited");
    EXPECT_FALSE(icon.isEmpty());
}

TEST(DesktopSessionTest, NothingThatTheBusStartedOutlivesIt) {
    pid_t settings = 0;
    {
        DesktopSession session({.panel = Panel::xfce4});
        settings = session.bus().processOf("org.xfce.Xfconf");
        EXPECT_GT(settings, 0);
    }
    // Where nobody buries it, it may still be there as a zombie.
    const std::string stat = readText("/proc/" + std::to_string(settings) + "/stat");
    EXPECT_TRUE(stat.empty() || stat.find(") Z ") != std::string::npos) << stat;
}

} // namespace
} // namespace morvel::test
