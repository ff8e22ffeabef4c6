// The settings window as a user has it: every control by pointer and by keyboard, and what each
// leaves on disk.

#include "tests/desktop/UserDesktop.h"
#include "tests/support/MainLoop.h"
#include "tests/support/Screenshot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QUrl>
#include <csignal>
#include <fstream>

namespace morvel::test {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

constexpr const char* shown = "Settings window shown";
constexpr const char* mechanicalRow = "Mechanical, Built-in, by Morvel, All 32 categories";
constexpr const char* defaultRow = "Default, Built-in, by Morvel, All 32 categories";

class SettingsDesktopTest : public testing::Test {
protected:
    void open(const std::vector<std::string>& more = {}) {
        ASSERT_TRUE(desktop.start({"--settings"}, more).awaitLine(shown));
        ASSERT_TRUE(desktop.windows.awaitFocus(titled(settingsTitle)));
    }
    bool click(const std::string& name) { return desktop.click(settingsTitle, name); }
    std::optional<Control> await(const std::string& name,
                                 const Accessibility::Wanted& wanted = {}) {
        return desktop.controls.await(settingsTitle, name, wanted);
    }
    bool stored(const std::string& key, const nlohmann::json& value) const {
        return desktop.settings.await(key, value);
    }
    bool storedAbout(const std::string& key, double value) const {
        return desktop.settings.awaitThat(key, [&](const nlohmann::json& found) {
            return found.is_number() && std::abs(found.get<double>() - value) < 0.011;
        });
    }
    void strike(xkb_keysym_t key, const std::vector<xkb_keysym_t>& modifiers = {}) {
        test::strike(desktop.keys, key, modifiers);
    }
    // Goes on by Tab until the control has the keyboard.
    bool tabTo(const std::string& name) {
        for (int i = 0; i < 20; ++i) {
            if (desktop.controls.find(settingsTitle, name,
                                      [](const Control& control) { return control.focused(); }))
                return true;
            const std::string before = focused();
            strike(XKB_KEY_Tab);
            if (!runPolling([&] { return focused() != before; }))
                return false;
        }
        return false;
    }
    std::string focused() {
        for (const Control& control : desktop.controls.controls(settingsTitle))
            if (control.focused() && control.role != "frame")
                return control.name;
        return {};
    }
    static bool runPolling(const std::function<bool()>& done) {
        QTimer again;
        again.start(20ms);
        return runUntil(done);
    }
    std::string helpText() {
        std::string text;
        for (const Control& control : desktop.controls.controls(helpTitle))
            text += control.name + "\n";
        return text;
    }
    // Waits for the page of help, and closes it by its button.
    bool helpIsShownAndClosed() {
        return desktop.windows.await(titled(helpTitle)) && desktop.click(helpTitle, "OK") &&
               desktop.windows.awaitNone(titled(helpTitle));
    }

    UserDesktop desktop;
};

TEST_F(SettingsDesktopTest, EverySwitchAndSliderIsUsedByPointerAndIsOnDisk) {
    open();
    for (const auto& [title, key] :
         {std::pair("Keyboard", "module.keyboard"), std::pair("Fidget Drawer", "module.fidget")}) {
        const std::string name = title;
        const std::string setting = key;
        ASSERT_TRUE(click(name));
        EXPECT_TRUE(stored(setting + ".enabled", false));
        EXPECT_TRUE(await(name, [](const Control& control) { return !control.checked(); }));
        ASSERT_TRUE(click(name));
        EXPECT_TRUE(stored(setting + ".enabled", true));

        const auto slider = desktop.reveal(settingsTitle, name + " volume");
        ASSERT_TRUE(slider);
        desktop.pointer.click(UserDesktop::sliderPoint(*slider, 0.5));
        EXPECT_TRUE(storedAbout(setting + ".volume", 0.5));
        desktop.pointer.drag({UserDesktop::sliderPoint(*slider, 0.5),
                              UserDesktop::sliderPoint(*slider, 0.8),
                              slider->place.center() - QPoint(slider->place.width(), 0)});
        EXPECT_TRUE(stored(setting + ".volume", 0.0));
        EXPECT_TRUE(await("0%"));
        desktop.pointer.drag({UserDesktop::sliderPoint(*slider, 0),
                              slider->place.center() + QPoint(slider->place.width(), 0)});
        EXPECT_TRUE(stored(setting + ".volume", 1.0));
    }
}

TEST_F(SettingsDesktopTest, ItsWindowFloatsAndCanOnlyBeMovedAndClosed) {
    open();
    const auto window = desktop.windows.find(titled(settingsTitle));
    ASSERT_TRUE(window);
    EXPECT_EQ(window->geometry.size(), QSize(460, 620));
    XClient x(desktop.session.display());
    // The window manager of this desktop lets every window be minimised, whatever it asks for.
    const auto hints = x.values(window->id, "_MOTIF_WM_HINTS");
    constexpr std::uint32_t minimise = 8;
    constexpr std::uint32_t maximise = 16;
    ASSERT_GE(hints.size(), 2u);
    EXPECT_EQ(hints[1] & (minimise | maximise), 0u);
    EXPECT_THAT(x.values(window->id, "_NET_WM_ALLOWED_ACTIONS"),
                testing::Not(testing::Contains(x.atom("_NET_WM_ACTION_RESIZE"))));
    EXPECT_THAT(x.values(window->id, "_NET_WM_STATE"),
                testing::Contains(x.atom("_NET_WM_STATE_ABOVE")));
    // Closed, it is the same one that comes back, at its place.
    desktop.windows.close(*window);
    ASSERT_TRUE(desktop.windows.awaitNone(titled(settingsTitle)));
    ASSERT_EQ(desktop.run({"--settings"}).status, 0);
    ASSERT_TRUE(desktop.windows.await(titled(settingsTitle)));
    desktop.program().drain();
    EXPECT_EQ(desktop.program().count(shown), 1u);
}

TEST_F(SettingsDesktopTest, AModuleThatIsOffHasAFadedSliderThatDoesNothing) {
    open();
    const auto slider = desktop.reveal(settingsTitle, "Fidget Drawer volume");
    ASSERT_TRUE(slider);
    Screenshot screenshot(desktop.session.display());
    const QRgb full = screenshot.take(slider->place).pixel(30, slider->place.height() / 2);
    ASSERT_TRUE(click("Fidget Drawer"));
    ASSERT_TRUE(stored("module.fidget.enabled", false));
    bool faded = false;
    screenshot.await(
        slider->place,
        [&](const QImage& picture) {
            return !alike(picture.pixel(30, picture.height() / 2), full, 40);
        },
        faded);
    EXPECT_TRUE(faded);
    desktop.pointer.click(UserDesktop::sliderPoint(*slider, 0.3));
    // What is stored next is stored after anything that the click had done.
    ASSERT_TRUE(click("Keyboard"));
    ASSERT_TRUE(stored("module.keyboard.enabled", false));
    EXPECT_TRUE(desktop.settings.value("module.fidget.volume").is_null());
}

TEST_F(SettingsDesktopTest, TheDrawerSaysAtOnceThatItsModuleIsOff) {
    open();
    ASSERT_EQ(desktop.run({"--open-drawer"}).status, 0);
    ASSERT_TRUE(desktop.windows.await(titled(drawerTitle)));
    ASSERT_TRUE(desktop.controls.await(drawerTitle, "Clicky button"));
    EXPECT_FALSE(desktop.controls.find(drawerTitle, "Muted"));
    // A click would close the drawer; whoever reads by ear leaves the pointer alone.
    ASSERT_TRUE(desktop.controls.press(settingsTitle, "Fidget Drawer"));
    EXPECT_TRUE(desktop.controls.await(drawerTitle, "Muted"));
    ASSERT_TRUE(desktop.controls.press(settingsTitle, "Fidget Drawer"));
    EXPECT_TRUE(desktop.controls.awaitNone(drawerTitle, "Muted"));
    EXPECT_EQ(desktop.run({"--toggle-mute"}).status, 0);
    EXPECT_TRUE(stored("master.muted", true));
    EXPECT_FALSE(desktop.controls.find(drawerTitle, "Muted"));
}

TEST_F(SettingsDesktopTest, EverythingIsDoneByKeyboardAlone) {
    desktop.addTheme("default", "zither");
    open({"PATH=" + desktop.session.home()});
    ASSERT_TRUE(tabTo("Access granted, Open System Settings…"));
    strike(XKB_KEY_space);
    ASSERT_TRUE(desktop.windows.awaitFocus(titled(helpTitle)));
    strike(XKB_KEY_Return);
    ASSERT_TRUE(desktop.windows.awaitNone(titled(helpTitle)));
    ASSERT_TRUE(desktop.windows.awaitFocus(titled(settingsTitle)));

    ASSERT_TRUE(tabTo("Keyboard volume"));
    strike(XKB_KEY_Left);
    EXPECT_TRUE(storedAbout("module.keyboard.volume", 0.95));
    strike(XKB_KEY_Home);
    EXPECT_TRUE(stored("module.keyboard.volume", 0.0));
    strike(XKB_KEY_Tab, {XKB_KEY_Shift_L});
    ASSERT_TRUE(await("Keyboard", [](const Control& control) { return control.focused(); }));
    strike(XKB_KEY_space);
    EXPECT_TRUE(stored("module.keyboard.enabled", false));
    ASSERT_TRUE(tabTo("Fidget Drawer volume"));
    strike(XKB_KEY_Page_Down);
    EXPECT_TRUE(storedAbout("module.fidget.volume", 0.8));
    strike(XKB_KEY_Tab, {XKB_KEY_Shift_L});
    strike(XKB_KEY_space);
    EXPECT_TRUE(stored("module.fidget.enabled", false));

    ASSERT_TRUE(tabTo(defaultRow));
    strike(XKB_KEY_space);
    EXPECT_TRUE(stored("theme.id", "default"));
    strike(XKB_KEY_Down);
    ASSERT_TRUE(await("Galosh, Built-in, by Morvel, All 32 categories",
                      [](const Control& control) { return control.focused(); }));
    strike(XKB_KEY_space);
    EXPECT_TRUE(stored("theme.id", "galosh"));

    MorvelProcess& morvel = desktop.program();
    morvel.drain();
    const std::size_t scans = morvel.count("Theme catalogue:");
    ASSERT_TRUE(tabTo("Rescan"));
    strike(XKB_KEY_space);
    EXPECT_TRUE(runPolling([&] {
        morvel.drain();
        return morvel.count("Theme catalogue:") > scans;
    }));
    ASSERT_TRUE(tabTo("Reveal Themes Folder"));
    strike(XKB_KEY_space);
    ASSERT_TRUE(desktop.windows.awaitFocus(titled(helpTitle)));
    strike(XKB_KEY_Return);
    ASSERT_TRUE(desktop.windows.awaitNone(titled(helpTitle)));
}

TEST_F(SettingsDesktopTest, AThemeThatIsDroppedInAppearsAfterRescanAndStaysChosen) {
    open();
    constexpr const char* row = "Default, Installed, by Morvel, All 32 categories";
    desktop.addTheme("default", "dropped");
    EXPECT_FALSE(desktop.controls.find(settingsTitle, row));
    ASSERT_TRUE(click("Rescan"));
    ASSERT_TRUE(await(row));
    ASSERT_TRUE(desktop.program().awaitLine(
        "Theme catalogue: 7 available (carriage[32/32], cellar[32/32], default[32/32], "
        "galosh[32/32], hailstone[32/32], mechanical[32/32], dropped[32/32])"));
    ASSERT_TRUE(click(row));
    EXPECT_TRUE(stored("theme.id", "dropped"));
    EXPECT_TRUE(desktop.program().awaitLine("Active theme is now 'dropped'"));
    EXPECT_TRUE(await(row, [](const Control& control) { return control.selected(); }));
    EXPECT_EQ(desktop.end(SIGTERM), 0);
    open();
    EXPECT_TRUE(desktop.program().awaitLine("Active theme is now 'dropped'"));
    EXPECT_TRUE(await(row, [](const Control& control) { return control.selected(); }));
}

TEST_F(SettingsDesktopTest, ABrokenThemeIsRefusedWithItsReasonAndChangesNothing) {
    constexpr const char* row = "Default, Installed, by Morvel, All 32 categories";
    const fs::path theme = desktop.addTheme("default", "fragile");
    open();
    writeText(theme / "manifest.json", "{ this is no manifest");
    ASSERT_TRUE(click(row));
    EXPECT_TRUE(desktop.program().awaitLine("— keeping 'mechanical'"));
    const auto error = [&] {
        for (const Control& control : desktop.controls.controls(settingsTitle))
            if (control.name.starts_with("Could not load “fragile”: "))
                return !control.place.isEmpty();
        return false;
    };
    EXPECT_TRUE(runPolling(error));
    EXPECT_TRUE(await(mechanicalRow, [](const Control& control) { return control.selected(); }));
    EXPECT_TRUE(desktop.settings.value("theme.id").is_null());
    // The next that loads takes the complaint away.
    ASSERT_TRUE(click(defaultRow));
    EXPECT_TRUE(stored("theme.id", "default"));
    EXPECT_TRUE(runPolling([&] { return !error(); }));
}

TEST_F(SettingsDesktopTest, WithoutAnyThemeTheListSaysSo) {
    desktop.install({"mechanical"});
    open();
    ASSERT_TRUE(await("Mechanical, Built-in, by Morvel, All 32 categories"));
    EXPECT_FALSE(desktop.controls.find(settingsTitle, "No themes found."));
    fs::remove_all(desktop.session.home() + "/Applications/Morvel.app/share/Sounds/mechanical");
    ASSERT_TRUE(click("Rescan"));
    EXPECT_TRUE(await("No themes found."));
    EXPECT_TRUE(desktop.program().awaitLine("Theme catalogue: 0 available ()"));
}

// A file browser of the session's, as the desktop's standard for them has it.
class FileBrowser : public QDBusVirtualObject {
public:
    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        if (message.member() == "ShowFolders")
            folders += message.arguments().value(0).toStringList();
        connection.send(message.createReply());
        return true;
    }

    QStringList folders;
};

TEST_F(SettingsDesktopTest, TheThemesFolderIsShownInTheFileBrowser) {
    FileBrowser browser;
    QDBusConnection bus = desktop.session.bus().connection();
    ASSERT_TRUE(bus.registerVirtualObject("/org/freedesktop/FileManager1", &browser));
    ASSERT_TRUE(bus.registerService("org.freedesktop.FileManager1"));
    open();
    fs::remove_all(desktop.userThemes());
    ASSERT_TRUE(click("Reveal Themes Folder"));
    ASSERT_TRUE(runPolling([&] { return !browser.folders.isEmpty(); }));
    EXPECT_EQ(
        browser.folders.value(0),
        QUrl::fromLocalFile(QString::fromStdString(desktop.userThemes().string())).toString());
    EXPECT_TRUE(fs::is_directory(desktop.userThemes()));
    EXPECT_FALSE(desktop.windows.find(titled(helpTitle)));
}

TEST_F(SettingsDesktopTest, WithoutAFileBrowserHelpTellsWhereTheThemesFolderIs) {
    open({"PATH=" + desktop.session.home()});
    ASSERT_TRUE(click("Reveal Themes Folder"));
    ASSERT_TRUE(desktop.windows.await(titled(helpTitle)));
    EXPECT_TRUE(desktop.controls.await(helpTitle, desktop.userThemes().string()));
    EXPECT_TRUE(helpIsShownAndClosed());
}

TEST_F(SettingsDesktopTest, SystemSettingsAreTheDesktopsOwnOrElseAPageOfHelp) {
    open({"PATH=" + desktop.session.home()});
    ASSERT_TRUE(click("Access granted, Open System Settings…"));
    EXPECT_TRUE(helpIsShownAndClosed());
    EXPECT_EQ(desktop.end(SIGTERM), 0);

    const fs::path opened = desktop.session.home() + "/opened";
    const fs::path tool = desktop.session.home() + "/xfce4-accessibility-settings";
    writeText(tool, "#!/bin/sh\n: > '" + opened.string() + "'\n");
    fs::permissions(tool, fs::perms::owner_all);
    open({"PATH=" + desktop.session.home(), "XDG_CURRENT_DESKTOP=XFCE"});
    ASSERT_TRUE(click("Access granted, Open System Settings…"));
    EXPECT_TRUE(runPolling([&] { return fs::exists(opened); }));
    EXPECT_FALSE(desktop.windows.find(titled(helpTitle)));
}

TEST_F(SettingsDesktopTest, TheAccessRowFollowsTheTrust) {
    open({"MORVEL_SIMULATE_UNTRUSTED_SECONDS=2"});
    EXPECT_TRUE(await("Access required, Open System Settings…"));
    EXPECT_TRUE(await("Morvel cannot hear keys until Accessibility access is granted. The fidget "
                      "drawer still works."));
    ASSERT_TRUE(desktop.program().awaitLine("Accessibility trust changed -> TRUSTED"));
    EXPECT_TRUE(await("Access granted, Open System Settings…"));
    EXPECT_TRUE(await("Keyboard sounds are active."));
}

TEST_F(SettingsDesktopTest, ALooseExecutableCannotLaunchAtLogin) {
    open();
    ASSERT_TRUE(click("Launch at login"));
    EXPECT_TRUE(await("Unavailable — Morvel is running as a loose executable, not an .app bundle. "
                      "A distribution build can register itself."));
    ASSERT_TRUE(click("Keyboard"));
    ASSERT_TRUE(stored("module.keyboard.enabled", false));
    EXPECT_FALSE(fs::exists(desktop.session.home() + "/.config/autostart"));
}

TEST_F(SettingsDesktopTest, AnInstalledCopyLaunchesAtLoginAndNoLonger) {
    desktop.install({"mechanical"});
    const fs::path folder = desktop.session.home() + "/.config/autostart";
    const auto entry = [&]() -> fs::path {
        if (fs::is_directory(folder))
            for (const auto& file : fs::directory_iterator(folder))
                return file.path();
        return {};
    };
    open();
    ASSERT_TRUE(click("Launch at login"));
    EXPECT_TRUE(desktop.program().awaitLine("Launch at login -> enabled (status now enabled)"));
    EXPECT_TRUE(await("Morvel will start when you log in."));
    ASSERT_FALSE(entry().empty());
    EXPECT_THAT(readText(entry()), testing::HasSubstr("Exec=" + desktop.session.home() +
                                                      "/Applications/Morvel.app/bin/morvel\n"));
    ASSERT_TRUE(click("Launch at login"));
    EXPECT_TRUE(
        desktop.program().awaitLine("Launch at login -> disabled (status now not registered)"));
    EXPECT_TRUE(await("Morvel will not start automatically."));
    EXPECT_TRUE(entry().empty());
    EXPECT_FALSE(desktop.controls.find(settingsTitle, "Open Login Items…"));
}

TEST_F(SettingsDesktopTest, ALoginItemThatTheUserSwitchedOffLeadsToTheLoginItems) {
    desktop.install({"mechanical"});
    open({"PATH=" + desktop.session.home()});
    ASSERT_TRUE(click("Launch at login"));
    ASSERT_TRUE(await("Morvel will start when you log in."));
    for (const auto& file : fs::directory_iterator(desktop.session.home() + "/.config/autostart"))
        std::ofstream(file.path(), std::ios::app) << "Hidden=true\n";
    ASSERT_EQ(desktop.run({"--settings"}).status, 0);
    EXPECT_TRUE(await("Approval needed in System Settings > General > Login Items."));
    ASSERT_TRUE(click("Open Login Items…"));
    EXPECT_TRUE(helpIsShownAndClosed());
}

} // namespace
} // namespace morvel::test
