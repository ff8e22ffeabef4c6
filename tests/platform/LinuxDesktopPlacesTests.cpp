#include "platform/linux/LinuxDesktopPlaces.h"
#include "tests/support/MainLoop.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace morvel {
namespace {

namespace fs = std::filesystem;

class LinuxDesktopPlacesTest : public testing::Test {
protected:
    // A program that writes what it was called with, a line an argument, and ends with `status`.
    void install(const std::string& name, int status = 0) {
        const fs::path program = programs_ / name;
        writeText(program, "#!/bin/sh\nprintf '%s\\n' " + name + " \"$@\" > '" + record().string() +
                               ".part'\nmv '" + record().string() + ".part' '" + record().string() +
                               "'\nexit " + std::to_string(status) + "\n");
        fs::permissions(program, fs::perms::owner_all);
    }
    fs::path record() const { return folder_ / "record"; }

    LinuxDesktopPlaces on(const std::string& desktop, bool hearsEveryProgram = true) {
        return {{desktop, programs_.string() + ":/nowhere", hearsEveryProgram,
                 "/home/u/.config/autostart/app.desktop"},
                QDBusConnection("none")};
    }
    DesktopPlaces::Otherwise keepPage() {
        return [this](const HelpPage& page) { pages_.push_back(page); };
    }
    // What was started, once it has said so, or the title of the page that was shown instead.
    std::string outcome() {
        EXPECT_TRUE(test::runUntil([this] { return !pages_.empty() || fs::exists(record()); }));
        return pages_.empty() ? readText(record()) : "page: " + pages_.back().title;
    }
    std::string accessibilityOn(const std::string& desktop) {
        fs::remove(record());
        pages_.clear();
        LinuxDesktopPlaces places = on(desktop);
        places.openAccessibilitySettings(keepPage());
        return outcome();
    }
    std::string loginItemsOn(const std::string& desktop) {
        fs::remove(record());
        pages_.clear();
        LinuxDesktopPlaces places = on(desktop);
        places.openLoginItems(keepPage());
        return outcome();
    }

    TemporaryFolder folder_;
    fs::path programs_ = folder_.folder("programs");
    std::vector<HelpPage> pages_;
    // A process's end is not an event of this loop.
    QTimer heartbeat_;
    void SetUp() override { heartbeat_.start(5); }
};

TEST_F(LinuxDesktopPlacesTest, TheSystemIsCalledLinux) {
    EXPECT_EQ(on("").systemName(), "Linux");
}

TEST_F(LinuxDesktopPlacesTest, OpensTheNearestPlaceOfEachDesktop) {
    for (const char* program :
         {"gnome-control-center", "gnome-tweaks", "systemsettings", "xfce4-accessibility-settings",
          "xfce4-session-settings", "mate-at-properties", "mate-session-properties",
          "cinnamon-settings", "lxqt-config", "lxqt-config-session", "budgie-control-center",
          "budgie-desktop-settings", "lxsession-edit"})
        install(program);
    EXPECT_EQ(accessibilityOn("GNOME"), "gnome-control-center\nuniversal-access\n");
    EXPECT_EQ(loginItemsOn("ubuntu:GNOME"), "gnome-tweaks\n");
    EXPECT_EQ(accessibilityOn("KDE"), "systemsettings\nkcm_access\n");
    EXPECT_EQ(loginItemsOn("KDE"), "systemsettings\nkcm_autostart\n");
    EXPECT_EQ(accessibilityOn("XFCE"), "xfce4-accessibility-settings\n");
    EXPECT_EQ(loginItemsOn("XFCE"), "xfce4-session-settings\n");
    EXPECT_EQ(accessibilityOn("MATE"), "mate-at-properties\n");
    EXPECT_EQ(loginItemsOn("MATE"), "mate-session-properties\n");
    EXPECT_EQ(accessibilityOn("X-Cinnamon"), "cinnamon-settings\naccessibility\n");
    EXPECT_EQ(loginItemsOn("X-Cinnamon"), "cinnamon-settings\nstartup\n");
    EXPECT_EQ(accessibilityOn("LXQt"), "lxqt-config\n");
    EXPECT_EQ(loginItemsOn("LXQt"), "lxqt-config-session\n");
    EXPECT_EQ(accessibilityOn("Budgie:GNOME"), "budgie-control-center\nuniversal-access\n");
    EXPECT_EQ(loginItemsOn("Budgie:GNOME"), "budgie-desktop-settings\n");
    EXPECT_EQ(loginItemsOn("LXDE"), "lxsession-edit\n");
}

TEST_F(LinuxDesktopPlacesTest, TakesTheNextCommandWhereAProgramIsMissing) {
    install("gnome-control-center");
    EXPECT_EQ(loginItemsOn("GNOME"), "gnome-control-center\napplications\n");
    EXPECT_EQ(accessibilityOn("Budgie:GNOME"), "gnome-control-center\nuniversal-access\n");
    install("kcmshell5");
    EXPECT_EQ(accessibilityOn("kde"), "kcmshell5\nkcm_access\n");
}

TEST_F(LinuxDesktopPlacesTest, WithoutAPlaceAHelpPageTellsTheTruth) {
    EXPECT_EQ(accessibilityOn("i3"), "page: Keyboard access");
    EXPECT_NE(pages_.back().text.find("nothing to switch on"), std::string::npos);
    EXPECT_EQ(accessibilityOn("GNOME"), "page: Keyboard access"); // its program is not there
    EXPECT_EQ(accessibilityOn(""), "page: Keyboard access");
    EXPECT_EQ(loginItemsOn("i3"), "page: Login items");
    EXPECT_EQ(pages_.back().detail, "/home/u/.config/autostart/app.desktop");
    LinuxDesktopPlaces wayland = on("sway", false);
    wayland.openAccessibilitySettings(keepPage());
    EXPECT_NE(pages_.back().text.find("Wayland"), std::string::npos);
}

TEST_F(LinuxDesktopPlacesTest,
       WhereAccessCanBeGrantedTheHelpPageTellsWhatItMeansAndHowItIsTakenBack) {
    install("gnome-control-center");
    LinuxDesktopPlaces places(
        {"GNOME", programs_.string(), false, "/entry", "/libexec/morvel-keyboard-access"},
        QDBusConnection("none"));
    places.openAccessibilitySettings(keepPage());
    ASSERT_EQ(pages_.size(), 1U);
    for (const char* words : {"password", "every program", "not only Morvel", "takes it back"})
        EXPECT_NE(pages_.back().text.find(words), std::string::npos) << words;
    EXPECT_TRUE(places.givesAccessToPerson());
    EXPECT_EQ(pages_.back().detail, "pkexec /libexec/morvel-keyboard-access --revoke");
}

TEST_F(LinuxDesktopPlacesTest, InAnX11SessionTheProgramThatGivesAccessChangesNothing) {
    LinuxDesktopPlaces places({"i3", programs_.string(), true, "/entry", "/libexec/access"},
                              QDBusConnection("none"));
    places.openAccessibilitySettings(keepPage());
    ASSERT_EQ(pages_.size(), 1U);
    EXPECT_NE(pages_.back().text.find("nothing to switch on"), std::string::npos);
    EXPECT_EQ(pages_.back().detail, "");
    EXPECT_FALSE(places.givesAccessToPerson());
}

TEST_F(LinuxDesktopPlacesTest, AHostileEnvironmentStartsNothing) {
    install("gnome-control-center");
    const std::string command = "touch '" + record().string() + "'";
    for (const std::string& desktop :
         {"$(" + command + ")", "`" + command + "`", "; " + command, "GNOME; " + command,
          std::string("../../bin/sh"), std::string(":::"), std::string(100000, ':'),
          std::string("\n\xff\xfe"), "sh:-c:" + command})
        EXPECT_EQ(accessibilityOn(desktop), "page: Keyboard access") << desktop.substr(0, 80);
    EXPECT_FALSE(fs::exists(record()));
}

TEST_F(LinuxDesktopPlacesTest, ProgramsAreLookedForInAbsoluteFoldersOnly) {
    install("gnome-control-center");
    const fs::path before = fs::current_path();
    fs::current_path(folder_.path());
    LinuxDesktopPlaces places({"GNOME", "programs:./programs::.", true, "/e"},
                              QDBusConnection("none"));
    places.openAccessibilitySettings(keepPage());
    fs::current_path(before);
    EXPECT_EQ(outcome(), "page: Keyboard access");
}

TEST_F(LinuxDesktopPlacesTest, WithoutABusAFolderIsOpenedByTheDesktopsOpener) {
    install("xdg-open");
    LinuxDesktopPlaces places = on("");
    const fs::path target = folder_.folder("The $(themes); 'folder'\n%20");
    places.reveal(target, keepPage());
    EXPECT_EQ(outcome(), "xdg-open\n" + target.string() + "\n");
}

TEST_F(LinuxDesktopPlacesTest, AnOpenerThatFailsOrIsMissingGivesAHelpPageWithThePath) {
    LinuxDesktopPlaces places = on("");
    places.reveal("/the/folder", keepPage());
    ASSERT_EQ(pages_.size(), 1U);
    EXPECT_EQ(pages_.back().detail, "/the/folder");
    install("xdg-open", 3);
    places.reveal("/the/folder", keepPage());
    EXPECT_TRUE(test::runUntil([this] { return pages_.size() == 2; }));
    EXPECT_EQ(pages_.back().detail, "/the/folder");
}

TEST_F(LinuxDesktopPlacesTest, NoPageIsShownAfterThePlacesAreGone) {
    install("xdg-open", 3);
    {
        LinuxDesktopPlaces places = on("");
        places.reveal("/the/folder", keepPage());
    }
    QCoreApplication::processEvents();
    EXPECT_TRUE(pages_.empty());
}

} // namespace
} // namespace morvel
