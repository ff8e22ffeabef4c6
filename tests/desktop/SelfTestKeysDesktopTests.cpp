// The program's own tests of keys and key groups, run by the program itself in a desktop.

#include "platform/SystemRandom.h"
#include "platform/simulated/SimulatedLog.h"
#include "tests/desktop/MorvelDesktop.h"
#include "tests/desktop/UserState.h"
#include "tests/themes/ThemeFolder.h"
#include "tools/audition/Audition.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <map>
#include <numbers>

namespace morvel::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using audition::MonitorRecorder;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

// Long enough to be told from another, too short to reach into the next.
void writeBlip(const fs::path& file, double frequency) {
    constexpr int frames = 440; // 10 ms
    std::vector<float> samples;
    for (int i = 0; i < frames; ++i) {
        const double time = i / canonicalFormat.sampleRate;
        const double swell = std::sin(std::numbers::pi * i / frames);
        const double value =
            0.5 * swell * swell * std::sin(2 * std::numbers::pi * frequency * time);
        samples.insert(samples.end(), 2, static_cast<float>(value));
    }
    writeWav(file, canonicalFormat, samples);
}

// The lines about `what`, in order.
std::vector<std::string> linesOf(MorvelProcess& morvel, const std::string& what) {
    morvel.drain();
    std::vector<std::string> result;
    for (const std::string& line : morvel.lines())
        if (const auto at = line.find("[Morvel] " + what); at != std::string::npos)
            result.push_back(line.substr(at));
    return result;
}

class SelfTestKeysDesktopTest : public testing::Test {
protected:
    // A session that has been used before: a choice stored, a theme installed, a login item.
    void prepare(bool sound) {
        desktop.emplace(DesktopSession::Setup{.panel = Panel::none, .sound = sound});
        const fs::path installed = makeTheme(themes(), "blips",
                                             manifestWith(R"({
            "keyboard.down": {"variants": ["down.wav"]},
            "keyboard.up": {"variants": ["up.wav"]}})",
                                                          "Blips"),
                                             {});
        writeBlip(installed / "down.wav", 900);
        writeBlip(installed / "up.wav", 2300);
        writeText(configuration() / "autostart" / "other.desktop", "[Desktop Entry]\n");
        writeText(configuration() / "Morvel" / "settings.json",
                  "{ \"theme.id\":   \"blips\" }"); // written by hand
    }
    fs::path configuration() const { return fs::path(desktop->session.home()) / ".config"; }
    fs::path themes() const {
        return fs::path(desktop->session.home()) / ".local/share/Morvel/Themes";
    }
    std::map<std::string, std::string> userFiles() const {
        return userState(desktop->session.home());
    }
    void endPolitely() {
        desktop->morvel->process().signal(SIGTERM);
        EXPECT_EQ(desktop->morvel->process().wait(10s), 0);
    }
    std::vector<std::uint8_t> heldKeys() {
        XClient x(desktop->session.display());
        std::vector<std::uint8_t> held;
        auto* const keys =
            xcb_query_keymap_reply(x.handle(), xcb_query_keymap(x.handle()), nullptr);
        for (std::size_t key = 0; key < 256; ++key)
            if ((keys->keys[key / 8] >> (key % 8) & 1) != 0)
                held.push_back(static_cast<std::uint8_t>(key));
        std::free(keys);
        return held;
    }

    std::optional<MorvelDesktop> desktop;
};

std::shared_ptr<const SoundTheme> blips(const fs::path& folder) {
    static SimulatedLog log;
    static SystemRandom random;
    const ThemeCatalog catalog({}, folder, log);
    const auto theme = SoundTheme::load("blips", catalog, log, random);
    return theme ? theme.value() : nullptr;
}

TEST_F(SelfTestKeysDesktopTest, TheKeyboardTestIsHeardAsItSaysAndLeavesNothingBehind) {
    ASSERT_NO_FATAL_FAILURE(prepare(true));
    const auto before = userFiles();
    const auto theme = blips(themes());
    ASSERT_TRUE(theme);
    const SoundCategory sounds[] = {SoundCategory::keyDown, SoundCategory::keyUp};
    const audition::SoundMatcher matcher(*theme, sounds);

    const char* const steps[] = {"KBTEST 1:", "KBTEST 2:", "KBTEST 3:",      "KBTEST 4:",
                                 "KBTEST 5:", "KBTEST 6:", "KBTEST complete"};
    // A drop-out of the busy machine's sound server spoils a recording: it is then made once more.
    std::vector<std::size_t> presses;
    std::vector<std::size_t> releases;
    for (int take = 0; take < 4; ++take) {
        MonitorRecorder recorder(PulseServer::monitor, desktop->session.sound().address());
        ASSERT_TRUE(desktop->start({"MORVEL_KEYBOARD_SELFTEST=1", "MORVEL_LATENCY_TRACE=1"}));
        std::vector<std::size_t> begins; // of the steps, in frames of the recording
        for (const char* step : steps) {
            ASSERT_TRUE(desktop->morvel->awaitLine(step));
            begins.push_back(recorder.frameLength());
        }
        const audition::MonitorRecording recording = recorder.finish();
        if (take < 3 && !audition::dropOuts(recording.interleaved).empty()) {
            endPolitely();
            continue;
        }
        presses.assign(6, 0);
        releases.assign(6, 0);
        for (const audition::HeardSound& heard : matcher.listen(recording.interleaved)) {
            EXPECT_GT(heard.correlation, 0.6);
            const auto next = std::upper_bound(begins.begin(), begins.end(), heard.onset);
            ASSERT_NE(next, begins.begin()) << "before the first step";
            ASSERT_NE(next, begins.end()) << "after the last step";
            auto& counts = heard.category == SoundCategory::keyDown ? presses : releases;
            ++counts[static_cast<std::size_t>(next - begins.begin() - 1)];
        }
        break;
    }
    EXPECT_THAT(presses, ElementsAre(1, 0, 0, 1, 0, 30));
    EXPECT_THAT(releases, ElementsAre(1, 0, 0, 1, 0, 30));

    EXPECT_THAT(
        linesOf(*desktop->morvel, "KBTEST"),
        ElementsAre("[Morvel] KBTEST 1: F13 down+up (expect keyboard.down then keyboard.up)",
                    "[Morvel] KBTEST 2: 5x F13 down with autorepeat set (expect NO plays)",
                    "[Morvel] KBTEST 3: keyboardEnabled=false, then F13 (expect NO plays)",
                    "[Morvel] KBTEST 4: keyboardEnabled=true, then F13 (expect plays again)",
                    "[Morvel] KBTEST 5: classification table",
                    "[Morvel] KBTEST   a                                      -> "
                    "keyboard.alpha.down",
                    "[Morvel] KBTEST   a                                      -> keyboard.alpha.up",
                    "[Morvel] KBTEST   space                                  -> "
                    "keyboard.space.down",
                    "[Morvel] KBTEST   space                                  -> keyboard.space.up",
                    "[Morvel] KBTEST   return                                 -> "
                    "keyboard.enter.down",
                    "[Morvel] KBTEST   tab                                    -> keyboard.tab.down",
                    "[Morvel] KBTEST   delete                                 -> "
                    "keyboard.delete.down",
                    "[Morvel] KBTEST   L-shift press                          -> "
                    "keyboard.shift.down",
                    "[Morvel] KBTEST   L-shift rel                            -> keyboard.shift.up",
                    "[Morvel] KBTEST   R-shift press                          -> "
                    "keyboard.shift.down",
                    "[Morvel] KBTEST   both shift, R released while L held    -> keyboard.shift.up",
                    "[Morvel] KBTEST   caps on                                -> "
                    "keyboard.capsLock.down",
                    "[Morvel] KBTEST   caps off                               -> "
                    "keyboard.capsLock.up",
                    "[Morvel] KBTEST   L-cmd press                            -> "
                    "keyboard.command.down",
                    "[Morvel] KBTEST   L-cmd rel                              -> "
                    "keyboard.command.up",
                    "[Morvel] KBTEST   L-opt press                            -> "
                    "keyboard.option.down",
                    "[Morvel] KBTEST   fn press                               -> "
                    "keyboard.alpha.down",
                    "[Morvel] KBTEST   unknown mod                            -> (silent)",
                    "[Morvel] KBTEST 6: 30x F13 down+up at 25 ms for latency stats",
                    "[Morvel] KBTEST complete"));
    const std::string figures = "median [0-9.]+, mean [0-9.]+, max [0-9.]+";
    const auto report = [&](int events) {
        const std::string count = std::to_string(events);
        return MatchesRegex("\\[Morvel\\] TRACE latency over " + count + " events \\(ms\\) — " +
                            "delivery: " + figures + " over [0-9]+ \\| dispatch: " + figures);
    };
    EXPECT_THAT(linesOf(*desktop->morvel, "TRACE"), ElementsAre(report(20), report(40), report(60)))
        << "two strokes, and thirty quick ones";
    EXPECT_THAT(heldKeys(), IsEmpty());
    endPolitely();
    EXPECT_EQ(userFiles(), before);
}

TEST_F(SelfTestKeysDesktopTest, AKeyboardTestEndedWhileItHoldsTheKeyLetsGoAndLeavesTheSettings) {
    ASSERT_NO_FATAL_FAILURE(prepare(false));
    const auto before = userFiles();
    ASSERT_TRUE(desktop->start({"MORVEL_KEYBOARD_SELFTEST=1"}));
    ASSERT_TRUE(desktop->morvel->awaitLine("KBTEST 2:")); // holds it for half a second
    endPolitely();
    EXPECT_EQ(desktop->morvel->count("KBTEST 3:"), 0u);
    EXPECT_THAT(heldKeys(), IsEmpty());
    EXPECT_EQ(userFiles(), before);
}

TEST_F(SelfTestKeysDesktopTest, AnXServerThatDiesWhileKeyboardSoundsAreOffLeavesThemOn) {
    ASSERT_NO_FATAL_FAILURE(prepare(false));
    const auto before = userFiles();
    ASSERT_TRUE(desktop->start({"MORVEL_KEYBOARD_SELFTEST=1"}));
    ASSERT_TRUE(desktop->morvel->awaitLine("KBTEST 3:"));
    const SettingsFile stored(configuration());
    ASSERT_TRUE(stored.await("module.keyboard.enabled", false));
    desktop->session.server().process().signal(SIGKILL);
    EXPECT_EQ(desktop->morvel->process().wait(10s), 0);
    EXPECT_EQ(userFiles(), before);
}

TEST_F(SelfTestKeysDesktopTest, TheKeyGroupTestFindsNoFailureAndLeavesTheThemesAsTheyWere) {
    ASSERT_NO_FATAL_FAILURE(prepare(false));
    const auto before = userFiles();
    ASSERT_TRUE(desktop->start({"MORVEL_KEYGROUP_SELFTEST=1"}));
    ASSERT_TRUE(desktop->morvel->awaitLine("KEYGROUPTEST complete"));
    const auto lines = linesOf(*desktop->morvel, "KEYGROUPTEST");
    const std::string passed = "\\[Morvel\\] KEYGROUPTEST   \\[PASS\\] [^—]+( — .+)?";
    ASSERT_EQ(lines.size(), 1u + 9 + 5 + 38 + 2 * 7 + 3 + 7 + 7 + 1);
    EXPECT_EQ(lines.front(), "[Morvel] KEYGROUPTEST starting");
    EXPECT_EQ(lines.back(), "[Morvel] KEYGROUPTEST complete — 0 failure(s)");
    std::vector<std::string> breakdowns;
    for (std::size_t i = 1; i + 1 < lines.size(); ++i)
        if (lines[i].find("exact=") != std::string::npos)
            breakdowns.push_back(lines[i]);
        else
            EXPECT_THAT(lines[i], MatchesRegex(passed));
    EXPECT_THAT(
        breakdowns,
        ElementsAre(
            "[Morvel] KEYGROUPTEST   Carriage: exact=32 viaRoot=0 inherited=0 unresolved=0",
            "[Morvel] KEYGROUPTEST   Cellar: exact=32 viaRoot=0 inherited=0 unresolved=0",
            "[Morvel] KEYGROUPTEST   Default: exact=18 viaRoot=14 inherited=0 unresolved=0",
            "[Morvel] KEYGROUPTEST   Galosh: exact=32 viaRoot=0 inherited=0 unresolved=0",
            "[Morvel] KEYGROUPTEST   Hailstone: exact=32 viaRoot=0 inherited=0 unresolved=0",
            "[Morvel] KEYGROUPTEST   Mechanical: exact=32 viaRoot=0 inherited=0 unresolved=0",
            "[Morvel] KEYGROUPTEST   Blips: exact=2 viaRoot=22 inherited=8 unresolved=0"));
    const auto catalogues = linesOf(*desktop->morvel, "Theme catalogue");
    ASSERT_EQ(catalogues.size(), 3u) << "at the launch, with a theme of the test's, and without";
    EXPECT_EQ(catalogues[2], catalogues[0]);
    EXPECT_EQ(linesOf(*desktop->morvel, "Active theme is now").size(), 1u);
    endPolitely();
    EXPECT_EQ(userFiles(), before);
}

} // namespace
} // namespace morvel::test
