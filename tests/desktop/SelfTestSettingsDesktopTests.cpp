// The settings and the polish self-test in the running program, and that nothing is left of them.

#include "platform/ApplicationBundle.h"
#include "tests/desktop/UserDesktop.h"
#include "tests/desktop/UserState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <csignal>

namespace morvel::test {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;
using testing::ElementsAreArray;

using Lines = std::vector<std::string>;

const Lines themeChecks = {
    "user themes folder created at launch",
    "folder is under Application Support",
    "bundled themes discovered",
    "the persisted theme is the one that loaded",
    "mechanical descriptor present",
    "mechanical reports full coverage",
    "malformed themes skipped, not crashed",
    "active theme survived a bad drop",
    "activating a broken theme is refused",
    "active theme unchanged after refused switch",
    "bundled themes directory resolvable",
    "theme dropped at runtime appears in the picker",
    "partial theme reports authored vs inherited",
    "partial theme activates",
    "authored category comes from the theme itself",
    "unauthored category inherits rather than going silent",
    "undecodable sample is not counted as authored",
    "corrupt-sample theme still activates on its good category",
    "picker row matches the loaded theme exactly",
    "the inherited category really does inherit",
};
const Lines storeChecks = {
    "volume persisted to UserDefaults",
    "toggle persisted to UserDefaults",
    "second volume persisted",
    "volume takes effect without restart",
    "disabled module reports disabled",
    "master volume reaches the engine live",
    "restore persisted",
    "only Keyboard and Fidget Drawer modules exist",
    "no trackpad category remains",
    "Settings renders one row per remaining module",
    "retired trackpad keys purged from UserDefaults",
    "launch-at-login state matches SMAppService",
};
const Lines windowChecks = {
    "permission observer sees committed state, not willSet state",
    "settings window created",
    "settings window is visible",
    "settings window is not the 1×32 sliver — <number>×<number>",
    "settings window matches the requested content size — content 460pt vs requested 460pt",
};
const Lines loopChecks = {
    "loop is sounding before the switch",         "theme switch during an active loop succeeded",
    "loop torn down by the switch, not orphaned", "engine still plays after the swap",
    "a new loop starts on the new theme",         "switching back succeeds",
};
const std::string notRegistered =
    "login item registration not exercised — set "
    "MORVEL_LOGIN_ITEM_TEST=1 (from a real .app) to register for real";
const std::string polled = "permission is polled for live changes — set "
                           "MORVEL_SIMULATE_UNTRUSTED_SECONDS=2 to observe a real transition";
const Lines menuBarChecks = {
    "dial.medium exists (outline / muted)",
    "dial.medium.fill exists (filled / sounding)",
    "the menu-bar icon is a dial, not a waveform",
    "debug menu removed",
    "mute is reachable from the menu",
    "the global shortcut is discoverable in the menu",
    "settings and quit remain",
    "env-gated harness switches still present",
    "icon is filled while sounding",
    "engine is audible while unmuted",
    "hotkey path mutes",
    "icon is outline while muted",
    "menu item reflects muted state",
    "hotkey path unmutes",
    "icon returns to filled",
    "mute state persisted",
};

// The lines of a self-test, its sizes aside.
class Expected {
public:
    explicit Expected(std::string prefix)
        : prefix_(std::move(prefix)) {
        said("starting");
    }
    Expected& passed(const Lines& checks) {
        for (const std::string& check : checks)
            said("  [PASS] " + check);
        return *this;
    }
    Expected& said(const std::string& line) {
        lines_.push_back(prefix_ + " " + line);
        return *this;
    }
    Lines complete() {
        said("complete — 0 failure(s)");
        return lines_;
    }

private:
    std::string prefix_;
    Lines lines_;
};

// What comes into a folder and goes, from now on.
class FolderWatch {
public:
    explicit FolderWatch(const fs::path& folder)
        : watch_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
        inotify_add_watch(watch_, folder.c_str(), IN_CREATE | IN_MOVED_TO | IN_DELETE);
    }
    ~FolderWatch() { close(watch_); }
    FolderWatch(const FolderWatch&) = delete;
    FolderWatch& operator=(const FolderWatch&) = delete;

    // "came" or "went", for each time that it did so far.
    Lines changesOf(const std::string& name) const {
        Lines changes;
        alignas(inotify_event) char buffer[4096];
        for (ssize_t size = 0; (size = ::read(watch_, buffer, sizeof buffer)) > 0;)
            for (const char* at = buffer; at < buffer + size;) {
                const auto* const event = reinterpret_cast<const inotify_event*>(at);
                if (event->len > 0 && event->name == name)
                    changes.emplace_back((event->mask & IN_DELETE) != 0 ? "went" : "came");
                at += sizeof(inotify_event) + event->len;
            }
        return changes;
    }

private:
    int watch_;
};

class SelfTestSettingsDesktopTest : public testing::Test {
protected:
    SelfTestSettingsDesktopTest() {
        // As no program writes them: what is put back must be these bytes.
        fs::create_directories(desktop.settings.path().parent_path());
        writeText(desktop.settings.path(),
                  R"({"theme.id":"default",  "module.fidget.volume": 0.50, "mine": [1]})");
        desktop.addTheme("default", "selftest-drop");
    }

    // Runs the program with the switch of the self-test `prefix` on, until that has come to its
    // end, and ends it; answers the self-test's own lines.
    Lines run(const std::string& prefix, std::vector<std::string> environment = {}) {
        const auto before = userState(desktop.session.home());
        const std::string name = prefix.substr(0, prefix.size() - 4);
        environment.push_back("MORVEL_" + name + "_SELFTEST=1");
        MorvelProcess& morvel = desktop.start({}, environment);
        EXPECT_TRUE(morvel.awaitLine(prefix + " complete", 60s));
        EXPECT_EQ(userState(desktop.session.home()), before);
        EXPECT_EQ(desktop.end(SIGTERM), 0);
        EXPECT_EQ(userState(desktop.session.home()), before);
        Lines lines;
        for (const std::string& line : morvel.lines())
            if (const auto at = line.find("[Morvel] " + prefix); at != std::string::npos)
                lines.push_back(withoutSizes(line.substr(at + 9)));
        return lines;
    }
    static std::string withoutSizes(const std::string& line) {
        const std::size_t sizes = line.find("sliver — ");
        const std::size_t times = line.find("×", sizes);
        if (sizes == std::string::npos || times == std::string::npos)
            return line;
        const std::size_t begin = sizes + std::string("sliver — ").size();
        const std::string width = line.substr(begin, times - begin);
        const std::string height = line.substr(times + std::string("×").size());
        // With its frame no smaller than its content.
        EXPECT_GE(std::stoi(width), 460) << line;
        EXPECT_GE(std::stoi(height), 620) << line;
        return line.substr(0, begin) + "<number>×<number>";
    }
    static Lines settingsRun(const Lines& login, const std::string& live) {
        Expected expected("SETTINGSTEST");
        expected.passed(themeChecks).passed(storeChecks);
        for (const std::string& line : login)
            expected.said(line);
        return expected.passed(windowChecks)
            .passed({live})
            .said("starting dial loop before theme switch")
            .said("switching 'default' -> 'carriage' mid-loop")
            .passed(loopChecks)
            .complete();
    }

    UserDesktop desktop{{.panel = Panel::tint2, .sound = true}};
};

TEST_F(SelfTestSettingsDesktopTest, ThePlainSettingsRunIsGreen) {
    EXPECT_THAT(run("SETTINGSTEST"),
                ElementsAreArray(settingsRun({"  [PASS] " + notRegistered}, polled)));
}

TEST_F(SelfTestSettingsDesktopTest, SettingsObservesTrustThatComes) {
    EXPECT_THAT(run("SETTINGSTEST", {"MORVEL_SIMULATE_UNTRUSTED_SECONDS=2"}),
                ElementsAreArray(settingsRun({"  [PASS] " + notRegistered},
                                             "trust change observed live without user action")));
}

TEST_F(SelfTestSettingsDesktopTest, AnInstalledCopyBecomesTheLoginItemAndIsItNoMore) {
    desktop.install({"carriage", "default", "mechanical"});
    const fs::path folder = fs::path(desktop.session.home()) / ".config/autostart";
    fs::create_directories(folder);
    writeText(folder / "other.desktop", "[Desktop Entry]\n");
    const FolderWatch watch(folder);
    EXPECT_THAT(run("SETTINGSTEST", {"MORVEL_LOGIN_ITEM_TEST=1"}),
                ElementsAreArray(settingsRun({"login item status before: not registered",
                                              "  [PASS] toggling on registers the login item",
                                              "  [PASS] toggling off unregisters it",
                                              "  [PASS] original login item state restored"},
                                             polled)));
    const std::string entry = std::string(applicationIdentifier) + ".desktop";
    EXPECT_THAT(watch.changesOf(entry), testing::ElementsAre("came", "went"));
}

TEST_F(SelfTestSettingsDesktopTest, AnXServerThatDiesUnderTheTestsWindowEndsMorvelInOrder) {
    const auto before = userState(desktop.session.home());
    MorvelProcess& morvel = desktop.start({}, {"MORVEL_SETTINGS_SELFTEST=1"});
    ASSERT_TRUE(morvel.awaitLine("permission observer sees committed state", 60s));
    ASSERT_TRUE(desktop.windows.await(titled(settingsTitle)));
    desktop.session.server().process().signal(SIGKILL);
    EXPECT_EQ(morvel.process().wait(20s), 0);
    EXPECT_EQ(userState(desktop.session.home()), before);
}

TEST_F(SelfTestSettingsDesktopTest, ALooseCopySaysWhyItCannotRegister) {
    MorvelProcess& morvel =
        desktop.start({}, {"MORVEL_SETTINGS_SELFTEST=1", "MORVEL_LOGIN_ITEM_TEST=1"});
    EXPECT_TRUE(morvel.awaitLine("SETTINGSTEST complete — 1 failure(s): login item registration "
                                 "requires an installed .app bundle",
                                 60s));
}

TEST_F(SelfTestSettingsDesktopTest, ThePlainPolishRunIsGreen) {
    EXPECT_THAT(run("POLISHTEST"),
                ElementsAreArray(Expected("POLISHTEST")
                                     .passed(menuBarChecks)
                                     .passed({"revocation wiring present — run with "
                                              "MORVEL_SIMULATE_REVOKE_AFTER_SECONDS=2 to exercise "
                                              "losing access"})
                                     .complete()));
}

TEST_F(SelfTestSettingsDesktopTest, PolishObservesTrustThatReturns) {
    EXPECT_THAT(run("POLISHTEST", {"MORVEL_SIMULATE_UNTRUSTED_SECONDS=2"}),
                ElementsAreArray(Expected("POLISHTEST")
                                     .passed(menuBarChecks)
                                     .passed({"started untrusted under simulation",
                                              "input modules stopped while untrusted",
                                              "fidget drawer still works without permission — the "
                                              "drawer needs no Accessibility access"})
                                     .said("observed trust restored")
                                     .passed({"trust restored and observed live",
                                              "input modules restarted once trust returned"})
                                     .complete()));
}

TEST_F(SelfTestSettingsDesktopTest, PolishObservesTrustThatIsLost) {
    EXPECT_THAT(run("POLISHTEST", {"MORVEL_SIMULATE_REVOKE_AFTER_SECONDS=2"}),
                ElementsAreArray(Expected("POLISHTEST")
                                     .passed(menuBarChecks)
                                     .passed({"started trusted, before the simulated revocation",
                                              "input modules running while trusted",
                                              "revocation observed live without user action",
                                              "input modules stopped on revocation",
                                              "sounding loop torn down rather than left hanging",
                                              "permission window re-prompted on revocation",
                                              "audio engine still running after revocation",
                                              "fidget drawer still has samples to play"})
                                     .complete()));
}

TEST_F(SelfTestSettingsDesktopTest, WithoutASwitchNothingIsTested) {
    MorvelProcess& morvel = desktop.start({}, {"MORVEL_SETTINGS_SELFTEST=true"});
    ASSERT_TRUE(morvel.awaitLine("event tap installed"));
    ASSERT_EQ(desktop.end(SIGTERM), 0);
    EXPECT_EQ(morvel.count("SETTINGSTEST"), 0U);
    EXPECT_EQ(morvel.count("POLISHTEST"), 0U);
}

} // namespace
} // namespace morvel::test
