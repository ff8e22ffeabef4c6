// The program's icon in the trays of whole desktops: the drawer that a click opens, the menu, and
// the shortcut for muting.

#include "tests/desktop/MorvelDesktop.h"
#include "tests/support/MainLoop.h"
#include "tools/audition/MonitorRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QDBusArgument>

namespace morvel::test {
namespace {

using namespace std::chrono_literals;
using Time = std::chrono::steady_clock;

class TrayDesktopTest : public testing::TestWithParam<Panel> {
protected:
    static std::string picture(const std::string& what) { return nameOf(GetParam()) + "-" + what; }
};

INSTANTIATE_TEST_SUITE_P(Panels, TrayDesktopTest, testing::Values(Panel::tint2, Panel::xfce4),
                         [](const auto& panel) { return nameOf(panel.param); });

// Where the menu's entries are, whoever draws it.
QPoint firstEntry(const QRect& menu) {
    return {menu.center().x(), menu.top() + 14};
}
QPoint settingsEntry(const QRect& menu) {
    return {menu.center().x(), menu.bottom() - 37};
}
QPoint lastEntry(const QRect& menu) {
    return {menu.center().x(), menu.bottom() - 14};
}

void strikeMuteShortcut(MorvelDesktop& desktop) {
    strike(desktop.keys, XKB_KEY_m, {XKB_KEY_Control_L, XKB_KEY_Alt_L, XKB_KEY_Super_L});
}

QString toolTip(const StatusNotifierItem& item) {
    const auto argument = item.property("ToolTip").value<QDBusArgument>();
    QString iconName;
    QString title;
    QString text;
    argument.beginStructure();
    argument >> iconName;
    argument.beginArray();
    while (!argument.atEnd()) {
        int width = 0;
        int height = 0;
        QByteArray pixels;
        argument.beginStructure();
        argument >> width >> height >> pixels;
        argument.endStructure();
    }
    argument.endArray();
    argument >> title >> text;
    argument.endStructure();
    return title;
}

TEST_P(TrayDesktopTest, AClickOnTheIconOpensTheDrawerBesideItAndEscapeClosesIt) {
    MorvelDesktop desktop({.panel = GetParam()});
    ASSERT_TRUE(desktop.start());
    desktop.icon.await();
    desktop.save(picture("sounding"));
    ASSERT_TRUE(desktop.clickIcon());
    const auto drawer = desktop.awaitDrawer();
    desktop.save(picture("drawer"));
    ASSERT_TRUE(drawer);
    EXPECT_EQ(desktop.windows.find(desktop.isDrawer())->geometry, *drawer);
    EXPECT_TRUE(desktop.screen.contains(*drawer));
    const QRect panel = desktop.session.panelArea();
    EXPECT_FALSE(drawer->intersects(panel));
    EXPECT_LT(panel.top() - drawer->bottom(), 24);
    // As near to the icon's middle as the screen's edge allows.
    const QPoint icon = desktop.icon.await().center();
    EXPECT_LE(drawer->left(), icon.x());
    EXPECT_GE(drawer->right(), icon.x());
    EXPECT_NEAR(drawer->left(), std::max(icon.x() - drawer->width() / 2, 0), 20);

    strike(desktop.keys, XKB_KEY_Escape);
    EXPECT_TRUE(desktop.awaitNoDrawer());
}

TEST_P(TrayDesktopTest, AClickOnTheIconOfAnOpenDrawerClosesItAndDoesNotOpenItAgain) {
    MorvelDesktop desktop({.panel = GetParam()});
    ASSERT_TRUE(desktop.start());
    ASSERT_TRUE(desktop.clickIcon());
    ASSERT_TRUE(desktop.awaitDrawer());
    ASSERT_TRUE(desktop.clickIcon());
    ASSERT_TRUE(desktop.awaitNoDrawer());
    EXPECT_FALSE(desktop.windows.await(desktop.isDrawer(), 600ms));
    ASSERT_TRUE(desktop.clickIcon());
    EXPECT_TRUE(desktop.awaitDrawer());
}

TEST_P(TrayDesktopTest, AClickElsewhereClosesTheDrawerAndDoesWhatItDoes) {
    MorvelDesktop desktop({.panel = GetParam()});
    const QRect place(300, 60, 300, 200);
    ASSERT_TRUE(desktop.start());
    ASSERT_TRUE(desktop.clickIcon());
    ASSERT_TRUE(desktop.awaitDrawer());
    desktop.pointer.click({900, 500}); // the root window
    ASSERT_TRUE(desktop.awaitNoDrawer());
    desktop.windows.awaitNone(desktop.isMenu(Panel::xfce4), 100ms);
    strike(desktop.keys, XKB_KEY_Escape); // a window manager's menu there may be

    OtherWindow other(desktop, place);
    passReopeningPause();
    ASSERT_TRUE(desktop.clickIcon());
    ASSERT_TRUE(desktop.awaitDrawer());
    desktop.pointer.click(other.centre());
    ASSERT_TRUE(desktop.awaitNoDrawer());
    EXPECT_TRUE(other.awaitKeyboard());
}

TEST(DrawerTest, AClickOnTheIconWithinAQuarterSecondOfAClosingElsewhereIsIgnored) {
    MorvelDesktop desktop({});
    ASSERT_TRUE(desktop.start());
    const QRect icon = desktop.icon.await();
    ASSERT_FALSE(icon.isEmpty());
    // A busy machine may let more time pass than a take has.
    bool ignored = false;
    for (int take = 0; take < 5 && !ignored; ++take) {
        desktop.pointer.click(icon.center());
        ASSERT_TRUE(desktop.awaitDrawer());
        desktop.pointer.click({900, 300});
        ASSERT_TRUE(desktop.awaitNoDrawer());
        desktop.pointer.click(icon.center());
        ignored = !desktop.windows.await(desktop.isDrawer(), 500ms);
        if (!ignored) {
            ASSERT_TRUE(desktop.awaitDrawer());
            desktop.pointer.click(icon.center());
            ASSERT_TRUE(desktop.awaitNoDrawer());
            passReopeningPause();
        }
    }
    EXPECT_TRUE(ignored);
    desktop.pointer.click(icon.center());
    EXPECT_TRUE(desktop.awaitDrawer());
}

TEST_P(TrayDesktopTest, TheMenuOfARightClickMutesOpensTheSettingsAndQuits) {
    MorvelDesktop desktop({.panel = GetParam()});
    ASSERT_TRUE(desktop.start());
    ASSERT_TRUE(desktop.clickIcon(Pointer::right));
    auto menu = desktop.windows.await(desktop.isMenu(GetParam()));
    desktop.save(picture("menu"));
    ASSERT_TRUE(menu);
    EXPECT_TRUE(desktop.screen.contains(menu->geometry));
    desktop.pointer.click(firstEntry(menu->geometry));
    ASSERT_TRUE(desktop.morvel->awaitLine("Mute toggled -> MUTED"));
    EXPECT_TRUE(desktop.settings.await("master.muted", true));
    EXPECT_TRUE(desktop.windows.awaitNone(desktop.isMenu(GetParam())));
    EXPECT_FALSE(desktop.isDrawerOpen());

    ASSERT_TRUE(desktop.clickIcon(Pointer::right));
    menu = desktop.windows.await(desktop.isMenu(GetParam()));
    desktop.save(picture("menu-muted"));
    ASSERT_TRUE(menu);
    desktop.pointer.click(settingsEntry(menu->geometry));
    EXPECT_TRUE(desktop.windows.await(desktop.ofMorvel() && titled("Morvel Settings")));
    EXPECT_TRUE(desktop.windows.awaitNone(desktop.isMenu(GetParam())));

    ASSERT_TRUE(desktop.clickIcon(Pointer::right));
    menu = desktop.windows.await(desktop.isMenu(GetParam()));
    ASSERT_TRUE(menu);
    desktop.pointer.click(lastEntry(menu->geometry));
    EXPECT_EQ(desktop.morvel->process().wait(20s), 0);
    EXPECT_TRUE(desktop.icon.awaitNone());
}

TEST_P(TrayDesktopTest, AClickWithOptionHeldOpensTheMenuAndItsKeyTheSettings) {
    MorvelDesktop desktop({.panel = GetParam()});
    ASSERT_TRUE(desktop.start());
    const QRect icon = desktop.icon.await();
    ASSERT_FALSE(icon.isEmpty());
    desktop.keys.press(XKB_KEY_Alt_L);
    desktop.pointer.click(icon.center());
    // The program's own, wherever the tray is: it is told of a plain click.
    const auto menu = desktop.windows.await(desktop.isMenu(Panel::tint2));
    desktop.keys.release(XKB_KEY_Alt_L);
    desktop.save(picture("option-menu"));
    ASSERT_TRUE(menu);
    EXPECT_TRUE(desktop.screen.contains(menu->geometry));
    EXPECT_FALSE(desktop.isDrawerOpen());
    strike(desktop.keys, XKB_KEY_comma);
    const auto settings = desktop.windows.await(desktop.ofMorvel() && titled("Morvel Settings"));
    EXPECT_TRUE(settings);
    EXPECT_TRUE(desktop.windows.awaitNone(desktop.isMenu(Panel::tint2)));
    // A later plain click is a plain click.
    ASSERT_TRUE(desktop.clickIcon());
    EXPECT_TRUE(desktop.awaitDrawer());
}

TEST(MenuTest, OverTheBusItHasItsSixEntriesInOrderAndEachDoesItsWork) {
    MorvelDesktop desktop({.panel = Panel::xfce4});
    ASSERT_TRUE(desktop.start());
    const auto item = StatusNotifierItem::await(desktop.session.bus(), desktop.pid());
    ASSERT_TRUE(item);
    auto menu = item->menu();
    ASSERT_EQ(menu.size(), 6u);
    EXPECT_EQ(menu[0].label, "Mute");
    EXPECT_FALSE(menu[0].checked);
    EXPECT_EQ(menu[1].label, "Global shortcut: ⌃⌥⌘M");
    EXPECT_FALSE(menu[1].enabled);
    EXPECT_TRUE(menu[2].separator);
    EXPECT_EQ(menu[3].label, "Settings…");
    EXPECT_EQ(menu[3].shortcut, "Control+,");
    EXPECT_TRUE(menu[4].separator);
    EXPECT_EQ(menu[5].label, "Quit Morvel");
    EXPECT_EQ(menu[5].shortcut, "Control+Q");
    for (const int index : {0, 3, 5})
        EXPECT_TRUE(menu[static_cast<std::size_t>(index)].enabled) << index;

    item->choose(menu[0]);
    EXPECT_TRUE(desktop.settings.await("master.muted", true));
    menu = item->menu();
    EXPECT_EQ(menu[0].label, "Unmute");
    EXPECT_TRUE(menu[0].checked);
    item->choose(menu[3]);
    EXPECT_TRUE(desktop.windows.await(desktop.ofMorvel() && titled("Morvel Settings")));
    item->choose(menu[5]);
    EXPECT_EQ(desktop.morvel->process().wait(20s), 0);
}

// What somebody hears who types now.
bool typingSounds(MorvelDesktop& desktop, std::chrono::milliseconds limit) {
    audition::MonitorRecorder recorder(PulseServer::monitor, desktop.session.sound().address());
    for (int i = 0; i < 5; ++i)
        strike(desktop.keys, XKB_KEY_a);
    return recorder.awaitSound(0.001F, limit);
}

void awaitSilence(MorvelDesktop& desktop) {
    for (int i = 0; i < 20; ++i) {
        audition::MonitorRecorder recorder(PulseServer::monitor, desktop.session.sound().address());
        if (!recorder.awaitSound(0.0005F, 200ms))
            return;
    }
}

TEST(MuteShortcutTest, ItMutesFromAnotherProgramsWindowWhateverTheLocks) {
    MorvelDesktop desktop({.panel = Panel::xfce4, .sound = true});
    ASSERT_TRUE(desktop.start());
    ASSERT_TRUE(desktop.morvel->awaitLine("Hotkey ⌃⌥⌘M registered"));
    const auto item = StatusNotifierItem::await(desktop.session.bus(), desktop.pid());
    ASSERT_TRUE(item);
    const QImage sounding = desktop.settledIcon();
    EXPECT_EQ(toolTip(*item), "Morvel — click for the fidget drawer, right-click for settings");
    OtherWindow other(desktop, {300, 60, 300, 200});
    desktop.pointer.click(other.centre());
    ASSERT_TRUE(other.awaitKeyboard());
    EXPECT_TRUE(typingSounds(desktop, 10s));

    strikeMuteShortcut(desktop);
    ASSERT_TRUE(desktop.settings.await("master.muted", true));
    awaitSilence(desktop);
    EXPECT_FALSE(typingSounds(desktop, 600ms));
    EXPECT_TRUE(other.awaitKeyboard());
    EXPECT_EQ(toolTip(*item), "Morvel — muted (⌃⌥⌘M to unmute)");
    EXPECT_EQ(item->menu().at(0).label, "Unmute");
    EXPECT_TRUE(item->menu().at(0).checked);
    bool changed = false;
    desktop.screenshot.await(
        desktop.icon.await(), [&](const QImage& now) { return now != sounding; }, changed);
    EXPECT_TRUE(changed);
    desktop.save("muted");

    strike(desktop.keys, XKB_KEY_Caps_Lock);
    strike(desktop.keys, XKB_KEY_Num_Lock);
    strikeMuteShortcut(desktop);
    ASSERT_TRUE(desktop.settings.await("master.muted", false));
    EXPECT_TRUE(typingSounds(desktop, 10s));
    EXPECT_EQ(toolTip(*item), "Morvel — click for the fidget drawer, right-click for settings");
    EXPECT_EQ(item->menu().at(0).label, "Mute");
    EXPECT_FALSE(item->menu().at(0).checked);
    bool restored = false;
    desktop.screenshot.await(
        desktop.icon.await(), [&](const QImage& now) { return now == sounding; }, restored);
    EXPECT_TRUE(restored);
    desktop.morvel->drain();
    EXPECT_EQ(desktop.morvel->count("Mute toggled"), 2u);
}

TEST(MuteShortcutTest, WhereAnotherProgramOwnsItThereIsALineAndTheMenuStillMutes) {
    MorvelDesktop desktop({});
    OtherWindow owner(desktop, {300, 60, 300, 200});
    constexpr std::uint8_t keyOfM = 58;
    xcb_grab_key(owner.connection(), 0, owner.root(),
                 XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1 | XCB_MOD_MASK_4, keyOfM,
                 XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    owner.settle();
    ASSERT_TRUE(desktop.start());
    EXPECT_TRUE(desktop.morvel->awaitLine("Hotkey ⌃⌥⌘M could not be registered (OSStatus -9878) — "
                                          "another app may already own it"));
    const QImage sounding = desktop.settledIcon();
    strikeMuteShortcut(desktop);
    ASSERT_TRUE(desktop.clickIcon(Pointer::right));
    const auto menu = desktop.windows.await(desktop.isMenu(Panel::tint2));
    ASSERT_TRUE(menu);
    desktop.pointer.click(firstEntry(menu->geometry));
    EXPECT_TRUE(desktop.settings.await("master.muted", true));
    EXPECT_EQ(desktop.morvel->count("Mute toggled"), 0u);
    EXPECT_TRUE(desktop.morvel->awaitLine("Mute toggled -> MUTED"));
    bool changed = false;
    desktop.screenshot.await(
        desktop.icon.await(), [&](const QImage& now) { return now != sounding; }, changed);
    EXPECT_TRUE(changed);
}

TEST_P(TrayDesktopTest, WithoutATrayItRunsOnAndTheIconTakesItsPlaceOnceThereIsOne) {
    MorvelDesktop desktop({.panel = Panel::none});
    ASSERT_TRUE(desktop.start());
    ASSERT_TRUE(desktop.startAgain());
    const auto drawer = desktop.windows.await(desktop.isDrawer());
    ASSERT_TRUE(drawer);
    EXPECT_FALSE(drawer->overrideRedirect);
    EXPECT_EQ(drawer->geometry.size(), QSize(320, 400));
    EXPECT_TRUE(desktop.awaitDrawer());
    desktop.save(picture("drawer-as-window"));
    desktop.windows.close(*drawer);
    ASSERT_TRUE(desktop.awaitNoDrawer());

    passReopeningPause();
    desktop.session.startPanel(GetParam());
    ASSERT_TRUE(desktop.clickIcon());
    const auto popover = desktop.awaitDrawer();
    desktop.save(picture("drawer-late"));
    ASSERT_TRUE(popover);
    EXPECT_TRUE(desktop.windows.find(desktop.isDrawer())->overrideRedirect);
    strike(desktop.keys, XKB_KEY_Escape);
    ASSERT_TRUE(desktop.awaitNoDrawer());

    passReopeningPause();
    desktop.session.killPanel();
    desktop.session.startPanel(GetParam());
    ASSERT_TRUE(desktop.clickIcon());
    EXPECT_TRUE(desktop.awaitDrawer());
    desktop.save(picture("drawer-after-restart"));
    EXPECT_TRUE(desktop.morvel->process().running());
}

TEST(OpenDrawerSwitchTest, OneOpensItOnceHalfASecondAfterLaunch) {
    MorvelDesktop desktop({});
    const auto begin = Time::now();
    ASSERT_TRUE(desktop.start({"MORVEL_OPEN_DRAWER=1"}));
    ASSERT_TRUE(desktop.awaitDrawer());
    EXPECT_GE(Time::now() - begin, 500ms);
    strike(desktop.keys, XKB_KEY_Escape);
    ASSERT_TRUE(desktop.awaitNoDrawer());
    EXPECT_FALSE(desktop.windows.await(desktop.isDrawer(), 700ms));
}

TEST(OpenDrawerSwitchTest, ADrawerThatIsOpenByThenStaysOpen) {
    MorvelDesktop desktop({});
    ASSERT_TRUE(desktop.start({"MORVEL_OPEN_DRAWER=1"}, {"--open-drawer"}));
    ASSERT_TRUE(desktop.awaitDrawer());
    EXPECT_FALSE(desktop.windows.awaitNone(desktop.isDrawer(), 900ms));
}

TEST(OpenDrawerSwitchTest, AnythingElseDoesNothing) {
    MorvelDesktop desktop({});
    ASSERT_TRUE(desktop.start({"MORVEL_OPEN_DRAWER=true"}));
    EXPECT_FALSE(desktop.windows.await(desktop.isDrawer(), 1500ms));
}

} // namespace
} // namespace morvel::test
