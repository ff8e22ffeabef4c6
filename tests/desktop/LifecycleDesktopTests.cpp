// The program's life in a session: how it starts, hands over and ends, and that it leaves nothing
// behind but what the user chose.

#include "platform/ApplicationIdentifier.h"
#include "tests/desktop/UserDesktop.h"
#include "tests/support/MainLoop.h"
#include "tests/support/TrayIcon.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QDBusMessage>
#include <QDBusMetaType>
#include <QMap>
#include <algorithm>
#include <csignal>
#include <set>
#include <thread>

namespace morvel::test {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* installed = "event tap installed";

// Everything below the home folder, where runtime and temporary folder are too, but for what the
// session's own programs and the test write.
std::set<std::string> filesIn(const fs::path& home) {
    std::set<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(home)) {
        const std::string name = entry.path().lexically_relative(home).string();
        const bool sessions =
            name.ends_with("log") || name.starts_with("sound") ||
            name.starts_with(".config/pulse") || name.starts_with("runtime/bus") ||
            name.starts_with(".config/xfce4") || name.starts_with(".cache/openbox");
        if (!sessions)
            found.insert(name);
    }
    return found;
}

// The processes that were started within the home folder's session.
std::set<pid_t> processesOf(const std::string& home) {
    std::set<pid_t> found;
    for (const auto& entry : fs::directory_iterator("/proc")) {
        const std::string name = entry.path().filename().string();
        if (std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; }) &&
            readText(entry.path() / "environ").find("HOME=" + home) != std::string::npos)
            found.insert(static_cast<pid_t>(std::stol(name)));
    }
    return found;
}

// Whether another program could have the mute shortcut now.
bool shortcutIsFree(const std::string& display) {
    XClient x(display);
    constexpr xcb_keycode_t keyM = 58;
    constexpr std::uint16_t modifiers =
        XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1 | XCB_MOD_MASK_4; // Control, Alt, Super
    const auto error = held(xcb_request_check(
        x.handle(), xcb_grab_key_checked(x.handle(), 1, x.root(), modifiers, keyM,
                                         XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC)));
    return error == nullptr;
}

class LifecycleDesktopTest : public testing::Test {
protected:
    void makeDesktop(const DesktopSession::Setup& setup = {.panel = Panel::none}) {
        desktop = std::make_unique<UserDesktop>(setup);
    }
    MorvelProcess& start(const std::vector<std::string>& options = {},
                         const std::vector<std::string>& environment = {}) {
        return desktop->start(options, environment);
    }
    std::vector<std::string> linesAmong(const std::vector<std::string>& parts) {
        std::vector<std::string> found;
        desktop->program().drain();
        for (const std::string& line : desktop->program().lines())
            for (const std::string& part : parts)
                if (line.find(part) != std::string::npos) {
                    found.push_back(part);
                    break;
                }
        return found;
    }

    std::unique_ptr<UserDesktop> desktop;
};

TEST_F(LifecycleDesktopTest, TheLogTellsTheStepsOfALaunchInTheirOrder) {
    makeDesktop();
    MorvelProcess& morvel = start({}, {"MORVEL_OPEN_DRAWER=1"});
    ASSERT_TRUE(morvel.awaitLine(installed));
    ASSERT_TRUE(desktop->windows.await(titled(drawerTitle)));
    const std::vector<std::string> steps = {
        "Created user themes folder at ",
        "Theme catalogue: 6 available (carriage[32/32], cellar[32/32], default[32/32], "
        "galosh[32/32], hailstone[32/32], mechanical[32/32])",
        "Active theme is now 'mechanical' (32/32 categories authored)",
        "Hotkey ⌃⌥⌘M registered",
        "---- Accessibility trust identity ----",
        "  pid        : " + std::to_string(morvel.process().pid()),
        "AXIsProcessTrusted() -> true",
        "NOTE: no bundle identity",
        "[Morvel] --------------------------------------",
        "onboarding gate: trusted=true force=false",
        "KeyboardEngine: event tap installed",
    };
    EXPECT_EQ(linesAmong(steps), steps);
    EXPECT_EQ(morvel.count("fell back"), 0u);
    for (const std::string& line : morvel.lines())
        EXPECT_TRUE(line.starts_with("[Morvel] ")) << line;
}

TEST_F(LifecycleDesktopTest, WithoutTheChosenThemeAndMechanicalTheDefaultPlays) {
    makeDesktop();
    desktop->install({"default"});
    desktop->settings.write({{"theme.id", "gone"}});
    MorvelProcess& morvel = start();
    ASSERT_TRUE(morvel.awaitLine(installed));
    EXPECT_TRUE(morvel.awaitLine("[Morvel] Theme 'gone' unavailable; fell back to 'default'"));
    EXPECT_EQ(morvel.count("NOTE: no bundle identity"), 0u);
    EXPECT_EQ(desktop->end(SIGTERM), 0);
    EXPECT_EQ(desktop->settings.value("theme.id"), "default");
}

TEST_F(LifecycleDesktopTest, WithoutAnyThemeItSaysSoAndItsWindowsWork) {
    makeDesktop();
    desktop->install({});
    MorvelProcess& morvel = start({"--settings"});
    ASSERT_TRUE(morvel.awaitLine("[Morvel] No theme could be loaded. Morvel will be silent."));
    EXPECT_TRUE(desktop->controls.await(settingsTitle, "No themes found."));
    EXPECT_EQ(desktop->run({"--open-drawer"}).status, 0);
    EXPECT_TRUE(desktop->click(drawerTitle, "Clicky button"));
    EXPECT_EQ(desktop->end(SIGTERM), 0);
}

TEST_F(LifecycleDesktopTest, ASecondStartHandsOverWhatItWasAskedForAndEndsWithZero) {
    makeDesktop();
    MorvelProcess& morvel = start();
    ASSERT_TRUE(morvel.awaitLine(installed));
    for (const auto& options : {std::vector<std::string>{}, {"--open-drawer"}}) {
        const auto ended = desktop->run(options);
        EXPECT_EQ(ended.status, 0);
        EXPECT_THAT(ended.output + ended.errors, IsEmpty());
        const auto drawer = desktop->windows.await(titled(drawerTitle));
        ASSERT_TRUE(drawer);
        EXPECT_EQ(drawer->pid, morvel.process().pid());
        ASSERT_TRUE(desktop->windows.awaitFocus(titled(drawerTitle)));
        strike(desktop->keys, XKB_KEY_Escape);
        ASSERT_TRUE(desktop->windows.awaitNone(titled(drawerTitle)));
    }
    EXPECT_EQ(desktop->run({"--settings"}).status, 0);
    EXPECT_TRUE(desktop->windows.await(titled(settingsTitle)));
    EXPECT_EQ(desktop->run({"--toggle-mute"}).status, 0);
    EXPECT_TRUE(morvel.awaitLine("Mute toggled -> MUTED"));
    EXPECT_TRUE(desktop->settings.await("master.muted", true));
    EXPECT_EQ(desktop->run({"--toggle-mute"}).status, 0);
    EXPECT_TRUE(desktop->settings.await("master.muted", false));
    EXPECT_EQ(desktop->run({"--quit"}).status, 0);
    EXPECT_EQ(morvel.process().wait(20s), 0);
}

TEST_F(LifecycleDesktopTest, TheBusStartsItForWhoeverCallsItByItsNameAndHandsItItsActions) {
    makeDesktop();
    const fs::path home = desktop->session.home();
    const QString name = QString::fromUtf8(applicationIdentifier);
    const auto call = [&](const QDBusMessage& message) {
        return desktop->session.bus().connection().call(message).type();
    };
    const auto toBus = [&](const char* method) {
        return QDBusMessage::createMethodCall("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                              "org.freedesktop.DBus", method);
    };
    fs::create_directories(home / ".local/share/dbus-1/services");
    fs::copy(MORVEL_BUS_SERVICE, home / ".local/share/dbus-1/services");
    fs::create_directory(home / "bin");
    fs::create_symlink(MORVEL_PROGRAM, home / "bin/morvel");
    QMap<QString, QString> variables{{"PATH", QString::fromStdString(home / "bin")}};
    for (const std::string& variable : desktop->session.environment())
        if (const auto end = variable.find('='); end != std::string::npos)
            variables.insert(QString::fromStdString(variable.substr(0, end)),
                             QString::fromStdString(variable.substr(end + 1)));
    QDBusMessage environment = toBus("UpdateActivationEnvironment");
    environment << QVariant::fromValue(variables);
    qDBusRegisterMetaType<QMap<QString, QString>>();
    ASSERT_EQ(call(environment), QDBusMessage::ReplyMessage);
    ASSERT_EQ(call(toBus("ReloadConfig")), QDBusMessage::ReplyMessage);

    const auto toMorvel = [&](const char* method) {
        return QDBusMessage::createMethodCall(name, "/app/morvel/Morvel",
                                              "org.freedesktop.Application", method);
    };
    QDBusMessage activation = toMorvel("Activate");
    activation << QVariantMap();
    EXPECT_EQ(call(activation), QDBusMessage::ReplyMessage);
    EXPECT_TRUE(desktop->windows.await(titled(drawerTitle)));
    QDBusMessage action = toMorvel("ActivateAction");
    action << "quit" << QVariantList() << QVariantMap();
    EXPECT_EQ(call(action), QDBusMessage::ReplyMessage);
    EXPECT_TRUE(desktop->session.bus().awaitNoName(name));
    EXPECT_TRUE(desktop->windows.awaitNone(titled(drawerTitle)));
}

TEST_F(LifecycleDesktopTest, OptionsAreAnsweredWithoutAnInstance) {
    makeDesktop();
    const auto help = desktop->run({"--help"});
    EXPECT_EQ(help.status, 0);
    for (const char* option :
         {"--open-drawer", "--settings", "--toggle-mute", "--quit", "--help", "--version"})
        EXPECT_THAT(help.output, HasSubstr(option));
    const auto version = desktop->run({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_THAT(version.output, testing::MatchesRegex("Morvel [0-9.]+\n"));
    const auto mute = desktop->run({"--toggle-mute"});
    EXPECT_EQ(mute.status, 1);
    EXPECT_EQ(mute.errors, "Morvel is not running.\n");
    const auto quit = desktop->run({"--quit"});
    EXPECT_EQ(quit.status, 0);
    EXPECT_EQ(quit.output, "Morvel is not running.\n");
    EXPECT_NE(desktop->run({"--no-such-option"}).status, 0);
    EXPECT_NE(desktop->run({"--quit", "--settings"}).status, 0);

    start({"--open-drawer"});
    EXPECT_TRUE(desktop->windows.await(titled(drawerTitle)));
    EXPECT_EQ(desktop->end(SIGTERM), 0);
}

struct Ending {
    const char* name;
    void (*end)(UserDesktop& desktop);
};

class EndingTest : public LifecycleDesktopTest, public testing::WithParamInterface<Ending> {};

INSTANTIATE_TEST_SUITE_P(
    Ways, EndingTest,
    testing::Values(
        Ending{"Menu",
               [](UserDesktop& desktop) {
                   const auto item = StatusNotifierItem::await(desktop.session.bus(),
                                                               desktop.program().process().pid());
                   ASSERT_TRUE(item);
                   for (const MenuEntry& entry : item->menu())
                       if (entry.label == "Quit Morvel")
                           item->choose(entry);
               }},
        Ending{"Option",
               [](UserDesktop& desktop) { EXPECT_EQ(desktop.run({"--quit"}).status, 0); }},
        Ending{"Sigterm",
               [](UserDesktop& desktop) { desktop.program().process().signal(SIGTERM); }},
        Ending{"Sigint", [](UserDesktop& desktop) { desktop.program().process().signal(SIGINT); }}),
    [](const auto& way) { return way.param.name; });

TEST_P(EndingTest, NothingIsLeftBehindAndTheNextStartIsAFirstOne) {
    makeDesktop({.panel = Panel::xfce4, .sound = true});
    const std::string home = desktop->session.home();
    const auto processes = processesOf(home);
    const auto before = filesIn(home);
    for (int round = 0; round < 2; ++round) {
        MorvelProcess& morvel = start({"--settings"});
        ASSERT_TRUE(morvel.awaitLine(installed));
        ASSERT_TRUE(morvel.awaitLine("Audio output"));
        ASSERT_TRUE(desktop->click(settingsTitle, "Keyboard"));
        ASSERT_TRUE(desktop->settings.await("module.keyboard.enabled", round == 1));
        ASSERT_TRUE(StatusNotifierItem::await(desktop->session.bus(), morvel.process().pid()));
        EXPECT_FALSE(shortcutIsFree(desktop->session.display()));

        GetParam().end(*desktop);
        EXPECT_EQ(morvel.process().wait(20s), 0);
        morvel.drain();
        EXPECT_EQ(morvel.count("event tap removed"), 1u);
        EXPECT_TRUE(shortcutIsFree(desktop->session.display()));
        EXPECT_TRUE(TrayIcon(desktop->session).awaitNone());
        EXPECT_FALSE(desktop->windows.find(titled(settingsTitle)));
        EXPECT_EQ(processesOf(home), processes);
        std::vector<std::string> left;
        std::ranges::set_difference(filesIn(home), before, std::back_inserter(left));
        EXPECT_THAT(left, testing::IsSubsetOf(std::vector<testing::Matcher<std::string>>{
                              ".config/Morvel", ".config/Morvel/settings.json", ".local",
                              ".local/share", ".local/share/Morvel", ".local/share/Morvel/Themes",
                              // The lock itself is let go; its file stays for good.
                              testing::MatchesRegex("runtime/morvel-.*\\.lock")}));
    }
}

class LostServerTest : public LifecycleDesktopTest,
                       public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Windows, LostServerTest,
                         testing::Values("", "--open-drawer", "--settings"),
                         [](const auto& window) {
                             const std::string option = window.param;
                             return option.empty()           ? std::string("None")
                                    : option == "--settings" ? std::string("Settings")
                                                             : std::string("Drawer");
                         });

TEST_P(LostServerTest, AnXServerThatGoesAwayEndsTheProgramInOrder) {
    makeDesktop();
    const std::string option = GetParam();
    MorvelProcess& morvel =
        start(option.empty() ? std::vector<std::string>{} : std::vector<std::string>{option});
    ASSERT_TRUE(morvel.awaitLine(installed));
    if (!option.empty()) {
        ASSERT_TRUE(
            desktop->windows.await(titled(option == "--settings" ? settingsTitle : drawerTitle)));
    }
    ASSERT_EQ(desktop->run({"--toggle-mute"}).status, 0);
    ASSERT_TRUE(morvel.awaitLine("Mute toggled -> MUTED"));
    desktop->session.server().process().signal(SIGKILL);
    EXPECT_EQ(morvel.process().wait(20s), 0);
    morvel.drain();
    EXPECT_EQ(morvel.count("event tap removed"), 1u);
    EXPECT_EQ(desktop->settings.value("master.muted"), true);
    for (const auto& entry : fs::directory_iterator(desktop->session.home() + "/runtime"))
        EXPECT_NE(entry.path().extension(), ".socket");
}

TEST_F(LifecycleDesktopTest, TheSettingsAreWholeHoweverOftenItIsKilledWhileTheyChange) {
    makeDesktop();
    constexpr const char* key = "module.keyboard.volume";
    const fs::path folder = desktop->settings.path().parent_path();
    fs::create_directories(folder);
    std::uint32_t random = 20240607;
    double stored = 1;
    int written = 0;
    for (int kill = 0; kill < 30; ++kill) {
        // What a kill in the middle of a write leaves, which is seldom hit upon.
        writeText(folder / ".settings.json.aB3xYz", "{\"module.key");
        MorvelProcess& morvel = start({"--settings"});
        ASSERT_TRUE(morvel.awaitLine("Settings window shown"));
        EXPECT_FALSE(fs::exists(folder / ".settings.json.aB3xYz"));
        EXPECT_EQ(morvel.count("damaged"), 0u);
        const auto slider = desktop->controls.await(settingsTitle, "Keyboard volume");
        ASSERT_TRUE(slider);
        random = random * 1664525 + 1013904223;
        const double start = random / 4294967296.0;
        const auto length = 190ms + std::chrono::milliseconds((random >> 8) % 160);

        desktop->pointer.move(UserDesktop::sliderPoint(*slider, start));
        desktop->pointer.press();
        double lowest = std::min(start, 1 - start);
        double highest = std::max(start, 1 - start);
        const auto begun = std::chrono::steady_clock::now();
        for (auto now = begun; now < begun + length; now = std::chrono::steady_clock::now()) {
            const double way = std::chrono::duration<double>(now - begun) / length;
            desktop->pointer.move(UserDesktop::sliderPoint(*slider, start + way * (1 - 2 * start)));
            std::this_thread::sleep_until(now + 4ms);
        }
        morvel.process().signal(SIGKILL);
        EXPECT_EQ(morvel.process().wait(20s), 128 + SIGKILL);
        desktop->pointer.release();

        if (!fs::exists(desktop->settings.path()))
            continue;
        const auto content =
            nlohmann::json::parse(readText(desktop->settings.path()), nullptr, false);
        ASSERT_TRUE(content.is_object()) << readText(desktop->settings.path());
        const double now = content.value(key, 1.0);
        const bool moved = now >= lowest - 0.02 && now <= highest + 0.02;
        EXPECT_TRUE(now == stored || moved) << now << " after " << stored;
        written += now != stored ? 1 : 0;
        stored = now;
    }
    EXPECT_GE(written, 5);
    EXPECT_THAT(filesIn(folder), testing::Contains("settings.json"));
}

} // namespace
} // namespace morvel::test
