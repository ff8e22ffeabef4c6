// The program's own tests of sound, run by the whole program in a session with a sound server: what
// they log, what their recordings hold, and that they leave nothing of the user's changed.

#include "audio/sample/AudioFileReader.h"
#include "platform/SystemRandom.h"
#include "platform/simulated/SimulatedLog.h"
#include "tests/desktop/UserDesktop.h"
#include "tests/desktop/UserState.h"
#include "tests/support/WavFiles.h"
#include "tools/audition/SoundMatcher.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <map>
#include <numeric>
#include <span>

namespace morvel::test {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;
using audition::HeardSound;
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

constexpr double rate = 44100;

// A recording, interleaved stereo, and cuts of it by seconds. What the machine did not let the
// program render is not in it, so the longer it is, the earlier all comes: a section is found by
// its sound.
class Heard {
public:
    explicit Heard(const fs::path& file) {
        auto reader = AudioFileReader::open(file);
        if (!reader)
            return;
        EXPECT_EQ(reader->processingFormat(), canonicalFormat);
        const auto audio = reader->readAll({});
        for (std::size_t n = 0; audio && n < audio->frameLength(); ++n)
            for (const auto& channel : audio->channels)
                samples_.push_back(channel[n]);
    }

    double seconds() const { return static_cast<double>(samples_.size() / 2) / rate; }
    std::span<const float> cut(double from, double to) const {
        const auto frame = [this](double time) {
            return static_cast<std::size_t>(std::clamp(time, 0.0, seconds()) * rate);
        };
        return std::span(samples_).subspan(2 * frame(from), 2 * (frame(to) - frame(from)));
    }
    float peak(double from, double to) const {
        float result = 0;
        for (const float sample : cut(from, to))
            result = std::max(result, std::abs(sample));
        return result;
    }
    // When the first sound after `from` begins; the end where there is none.
    double nextSound(double from) const {
        const auto rest = cut(from, seconds());
        const auto first =
            std::ranges::find_if(rest, [](float sample) { return std::abs(sample) > 0.003F; });
        return from + static_cast<double>((first - rest.begin()) / 2) / rate;
    }
    // Of a tone, by its left channel's upward crossings of zero.
    double frequency(double from, double to) const {
        const auto tone = cut(from, to);
        int crossings = 0;
        for (std::size_t n = 2; n < tone.size(); n += 2)
            crossings += tone[n - 2] < 0 && tone[n] >= 0 ? 1 : 0;
        return crossings / (to - from);
    }

private:
    std::vector<float> samples_;
};

std::shared_ptr<const SoundTheme> mechanical() {
    static SimulatedLog log;
    static SystemRandom random;
    const ThemeCatalog catalog(MORVEL_SOURCE_THEMES, {}, log);
    const auto theme = SoundTheme::load("mechanical", catalog, log, random);
    return theme ? theme.value() : nullptr;
}

std::vector<SoundCategory> categoriesOf(const std::vector<HeardSound>& heard) {
    std::vector<SoundCategory> result;
    for (const HeardSound& sound : heard)
        result.push_back(sound.category);
    return result;
}

class SelfTestAudioDesktopTest : public testing::Test {
protected:
    explicit SelfTestAudioDesktopTest(bool unhurried = true)
        : desktop({.panel = Panel::none, .sound = true, .unhurried = unhurried}) {
        // Spelled as the program would not spell it, so that to write it anew would be seen.
        writeText(desktop.settings.path(), R"({ "theme.id":"tone",   "master.volume": 1.0 })");
        writeText(fs::path(desktop.session.home()) / ".config/autostart/other.desktop",
                  "[Desktop Entry]\nType=Application\nName=Other\nExec=true\n");
        // Mechanical but for the loop, whose rate is to be heard.
        const fs::path theme = desktop.addTheme("mechanical", "tone");
        fs::remove(theme / "fidget-dialLoop-1.wav");
        writeWav(theme / "fidget-dialLoop-1.wav", canonicalFormat,
                 sine(canonicalFormat, static_cast<std::size_t>(rate), toneFrequency));
    }

    // The lines that hold one of `parts`, without their prefix.
    std::vector<std::string> linesOf(const std::vector<std::string>& parts) {
        std::vector<std::string> found;
        desktop.program().drain();
        for (const std::string& line : desktop.program().lines())
            if (std::ranges::any_of(parts, [&](const std::string& part) {
                    return line.find(part) != std::string::npos;
                }))
                found.push_back(line.substr(std::string("[Morvel] ").size()));
        return found;
    }

    static constexpr double toneFrequency = 441;
    UserDesktop desktop;
    const fs::path home = desktop.session.home();
};

// With blocks short enough for strokes 40 ms apart.
class HurriedSelfTestAudioDesktopTest : public SelfTestAudioDesktopTest {
protected:
    HurriedSelfTestAudioDesktopTest()
        : SelfTestAudioDesktopTest(false) {}
};

TEST_F(HurriedSelfTestAudioDesktopTest, TheAudioTestRecordsWhatItPlaysAndEndsTheProgram) {
    const auto file = home / "tmp" / "morvel-selftest.wav";
    writeText(file, "an older recording");
    const auto before = userState(home);
    const auto record = [&] {
        MorvelProcess& morvel = desktop.start({}, {"MORVEL_AUDIO_SELFTEST=1"});
        EXPECT_TRUE(morvel.awaitLine("SELFTEST complete", 60s));
        EXPECT_EQ(morvel.process().wait(20s), 0);
        return Heard(file);
    };
    Heard heard = record();
    std::vector<testing::Matcher<std::string>> expected = {
        "SELFTEST recording to " + file.string(), "SELFTEST section 1: single popReset",
        "SELFTEST section 2: 6x popReset simultaneously"};
    for (int active = 1; active <= 6; ++active)
        expected.push_back(MatchesRegex(
            fmt::format("TRACE play fidget\\.popReset variant=[0-9A-F]{{1,4}} rate=1\\.0000 "
                        "vol=1\\.00 active={}",
                        active)));
    for (const char* line :
         {"SELFTEST section 3: 8x keyDown at 40 ms", "SELFTEST section 4: 10x keyDown at 300 ms",
          "SELFTEST section 5: configuration change mid-run",
          "Simulating configuration change (stopping engine)",
          "Audio configuration changed — restarting engine (running=false)",
          "Audio engine restarted (running=true)", "SELFTEST   engine running after restart: true",
          "SELFTEST   playing popReset after restart (must be audible)", "SELFTEST complete"})
        expected.emplace_back(line);
    EXPECT_THAT(linesOf({"SELFTEST", "TRACE", "Simulating", "Audio configuration", "restarted"}),
                ElementsAreArray(expected));
    EXPECT_THAT(linesOf({"Audio output: "}), SizeIs(2)) << "it was really stopped and opened anew";
    EXPECT_EQ(userState(home), before);

    const auto theme = mechanical();
    const SoundCategory played[] = {SoundCategory::keyDown, SoundCategory::popReset};
    const audition::SoundMatcher matcher(*theme, played);
    double single = 0;
    double six = 0;
    double fastKeys = 0;
    std::vector<HeardSound> fast;
    // Fast strokes that the machine holds up sound as one, and are then recorded once more.
    for (int take = 0; take < 4 && fast.size() != 8; ++take) {
        if (take > 0)
            heard = record();
        single = heard.nextSound(0);
        six = heard.nextSound(single + 0.7);
        fastKeys = heard.nextSound(six + 1);
        fast = matcher.listen(heard.cut(fastKeys - 0.1, fastKeys + 0.9));
    }
    EXPECT_NEAR(heard.seconds(), 10, 1);
    EXPECT_NEAR(single, 0.5, 0.3);
    EXPECT_THAT(categoriesOf(matcher.listen(heard.cut(0, single + 0.7))),
                ElementsAre(SoundCategory::popReset));
    // Six at once are held down by the limiter, which leaves nothing to be matched.
    EXPECT_GT(heard.peak(six, six + 0.7), 2 * heard.peak(0, single + 0.7));
    EXPECT_LE(heard.peak(0, 11), 1);
    EXPECT_THAT(categoriesOf(fast), testing::AllOf(SizeIs(8), Each(SoundCategory::keyDown)));
    const double slowKeys = heard.nextSound(fastKeys + 0.9);
    const auto slow = matcher.listen(heard.cut(slowKeys - 0.1, slowKeys + 3.1));
    ASSERT_THAT(categoriesOf(slow), testing::AllOf(SizeIs(10), Each(SoundCategory::keyDown)));
    for (std::size_t i = 1; i < slow.size(); ++i)
        EXPECT_NEAR(static_cast<double>(slow[i].onset - slow[i - 1].onset) / rate, 0.3, 0.15);
    EXPECT_THAT(categoriesOf(matcher.listen(heard.cut(slowKeys + 3.1, 20))),
                ElementsAre(SoundCategory::popReset))
        << "after the restart";
}

TEST_F(SelfTestAudioDesktopTest, TheThemeTestReportsRecordsEverySoundAndTheProgramRunsOn) {
    const auto file = home / "theme.wav";
    const auto before = userState(home);
    MorvelProcess& morvel =
        desktop.start({}, {"MORVEL_THEME_SELFTEST=1", "MORVEL_SELFTEST_OUT=" + file.string()});
    ASSERT_TRUE(morvel.awaitLine("THEMETEST complete", 60s));
    std::vector<testing::Matcher<std::string>> expected = {"THEMETEST theme 'tone' (Mechanical)"};
    for (const SoundCategory category : allSoundCategories())
        expected.emplace_back(fmt::format("THEMETEST   {:26} exact", rawValue(category)));
    for (const char* line :
         {"THEMETEST resolution: 32/32 exact, 0 via in-theme root, 0 inherited, "
          "0 unresolved",
          "THEMETEST   via in-theme root: ", "THEMETEST   inherited: ", "THEMETEST   UNRESOLVED: "})
        expected.emplace_back(line);
    for (const SoundCategory category : allSoundCategories())
        expected.push_back(
            category == SoundCategory::dialLoop
                ? testing::Matcher<std::string>(
                      "THEMETEST   peak fidget.dialLoop        0.5000  (44100 frames "
                      "max)")
                : MatchesRegex(
                      fmt::format("THEMETEST   peak {:22} 0\\.[0-9]+  \\([0-9]+ frames max\\)",
                                  rawValue(category))));
    expected.push_back(MatchesRegex("THEMETEST loudest category: .+ at 0\\.[0-9]+ \\(limiter "
                                    "threshold is full scale\\)"));
    expected.emplace_back("THEMETEST recording to " + file.string());
    expected.emplace_back("THEMETEST section 1: 31 one-shot categories");
    std::vector<SoundCategory> oneShots;
    for (const SoundCategory category : allSoundCategories())
        if (category != SoundCategory::dialLoop) {
            oneShots.push_back(category);
            expected.emplace_back(fmt::format("THEMETEST   play {}", rawValue(category)));
        }
    expected.emplace_back("THEMETEST section 2: 6x fidget.pop simultaneously");
    for (const char* loopRate : {"0.500", "0.800", "1.000", "1.500", "2.000"})
        expected.emplace_back(
            fmt::format("THEMETEST section 3: fidget.dialLoop loop at rate {}", loopRate));
    expected.emplace_back("THEMETEST complete");
    EXPECT_THAT(linesOf({"THEMETEST"}), ElementsAreArray(expected));
    // The file is there to be used, and grows no more, while the program runs on.
    const Heard heard(file);
    EXPECT_NEAR(heard.seconds(), 20, 1.5);
    EXPECT_TRUE(morvel.process().running());
    EXPECT_EQ(desktop.end(SIGTERM), 0);
    EXPECT_NEAR(Heard(file).seconds(), heard.seconds(), 1e-6);
    EXPECT_EQ(userState(home), before);

    const auto theme = mechanical();
    const audition::SoundMatcher matcher(*theme, oneShots);
    auto sounds = matcher.listen(heard.cut(0, 8.6));
    ASSERT_GE(sounds.size(), oneShots.size());
    const auto time = [&](std::size_t i) { return static_cast<double>(sounds[i].onset) / rate; };
    for (std::size_t i = oneShots.size(); i < sounds.size(); ++i)
        EXPECT_GT(time(i) - time(oneShots.size() - 1), 0.5) << "not of the next section";
    sounds.resize(oneShots.size());
    ASSERT_THAT(categoriesOf(sounds), ElementsAreArray(oneShots));
    EXPECT_NEAR(time(0), 0.5, 0.3);
    for (std::size_t i = 1; i < sounds.size(); ++i)
        EXPECT_NEAR(time(i) - time(i - 1), 0.25, 0.15);

    const double last = time(sounds.size() - 1);
    const auto pop = static_cast<std::size_t>(std::ranges::find(oneShots, SoundCategory::pop) -
                                              oneShots.begin());
    EXPECT_GT(heard.peak(last + 0.4, last + 2), 2 * heard.peak(time(pop), time(pop) + 0.2));
    const double loop = heard.nextSound(last + 2);
    EXPECT_NEAR(loop - last, 2.35, 0.3);
    // A tenth of a second at a time, where it has one rate and not two.
    std::vector<double> order;
    std::map<double, std::vector<double>> tenths; // their frequencies, in steps of ten
    for (double from = loop; from < heard.seconds(); from += 0.1)
        for (const double loopRate : {0.5, 0.8, 1.0, 1.5, 2.0}) {
            const double frequency = heard.frequency(from, from + 0.1);
            if (std::abs(heard.peak(from, from + 0.1) - 0.5 * 0.9) > 0.02 ||
                std::abs(frequency - toneFrequency * loopRate) > 10)
                continue;
            if (order.empty() || order.back() != loopRate)
                order.push_back(loopRate);
            tenths[loopRate].push_back(frequency);
        }
    EXPECT_THAT(order, ElementsAre(0.5, 0.8, 1.0, 1.5, 2.0));
    for (const auto& [loopRate, frequencies] : tenths) {
        EXPECT_NEAR(static_cast<double>(frequencies.size()), 19, 5) << loopRate;
        const double sum = std::accumulate(frequencies.begin(), frequencies.end(), 0.0);
        EXPECT_NEAR(sum / static_cast<double>(frequencies.size()), toneFrequency * loopRate, 4);
    }
    EXPECT_LT(heard.peak(heard.seconds() - 0.1, 30), 0.001F) << "stopped after the last";
}

TEST_F(SelfTestAudioDesktopTest, TheFidgetTestFindsAllRightAndEndsTheProgram) {
    const auto before = userState(home);
    MorvelProcess& morvel = desktop.start({}, {"MORVEL_FIDGET_SELFTEST=1"});
    ASSERT_TRUE(morvel.awaitLine("FDTEST complete"));
    EXPECT_EQ(morvel.process().wait(20s), 0);
    EXPECT_THAT(
        linesOf({"FDTEST"}),
        ElementsAre("FDTEST 1: shortest angular delta across the ±180° seam",
                    "FDTEST      10.0° ->    20.0°  delta    10.0°  expected    10.0°  ok",
                    "FDTEST      20.0° ->    10.0°  delta   -10.0°  expected   -10.0°  ok",
                    "FDTEST     179.0° ->  -179.0°  delta     2.0°  expected     2.0°  ok",
                    "FDTEST    -179.0° ->   179.0°  delta    -2.0°  expected    -2.0°  ok",
                    "FDTEST       0.0° ->   180.0°  delta   180.0°  expected   180.0°  ok",
                    "FDTEST     350.0° ->    10.0°  delta    20.0°  expected    20.0°  ok",
                    "FDTEST 2: ticks scale with rotation, not with event count",
                    "FDTEST   360° over 120 events -> 24 ticks (expect 24)",
                    "FDTEST   360° over  60 events -> 24 ticks (expect 24)",
                    "FDTEST   360° over  24 events -> 24 ticks (expect 24)",
                    "FDTEST   360° over  12 events -> 24 ticks (expect 24)",
                    "FDTEST   720° over 240 events -> 48 ticks (expect 48)",
                    "FDTEST   +180° then -180° -> 12 then 12 ticks (expect 12 and 12)",
                    "FDTEST   single 3600° jump -> 4 ticks (clamped at 4)",
                    "FDTEST 3: toy loop teardown, and the category guard",
                    "FDTEST   after startLoop(dialLoop): looping=fidget.dialLoop",
                    "FDTEST   after stopLoop(pop): looping=fidget.dialLoop (dial must survive)",
                    "FDTEST   after stopLoop(dialLoop): looping=none (must be none)",
                    "FDTEST complete"));
    EXPECT_EQ(userState(home), before);
}

TEST_F(SelfTestAudioDesktopTest, ARecordingThatCannotStartEndsTheAudioTestsProgramAtOnce) {
    MorvelProcess& morvel =
        desktop.start({}, {"MORVEL_AUDIO_SELFTEST=1",
                           "MORVEL_SELFTEST_OUT=" + (home / "missing" / "heard.wav").string()});
    EXPECT_EQ(morvel.process().wait(20s), 0);
    EXPECT_THAT(linesOf({"SELFTEST"}),
                ElementsAre(testing::StartsWith("SELFTEST could not start recording: ")));
}

TEST_F(SelfTestAudioDesktopTest, SeveralSwitchesStartTheTestsInTheirOrder) {
    const auto before = userState(home);
    MorvelProcess& morvel = desktop.start(
        {}, {"MORVEL_FIDGET_SELFTEST=1", "MORVEL_KEYBOARD_SELFTEST=1", "MORVEL_POLISH_SELFTEST=1",
             "MORVEL_KEYGROUP_SELFTEST=1", "MORVEL_SETTINGS_SELFTEST=1", "MORVEL_THEME_SELFTEST=1",
             "MORVEL_AUDIO_SELFTEST=1"});
    EXPECT_EQ(morvel.process().wait(20s), 0);
    EXPECT_EQ(userState(home), before) << "although most were cut off in the middle";
    EXPECT_THAT(
        linesOf({"SELFTEST recording", "THEMETEST theme", "SETTINGSTEST starting",
                 "KEYGROUPTEST starting", "POLISHTEST starting", "FDTEST 1", "FDTEST complete"}),
        ElementsAre(HasSubstr("SELFTEST recording"), HasSubstr("THEMETEST theme"),
                    HasSubstr("SETTINGSTEST starting"), HasSubstr("KEYGROUPTEST starting"),
                    HasSubstr("POLISHTEST starting"), HasSubstr("FDTEST 1"),
                    HasSubstr("FDTEST complete")));
}

TEST_F(SelfTestAudioDesktopTest, WithoutAnActiveThemeTheThemeTestIsSkipped) {
    fs::remove_all(desktop.userThemes());
    desktop.install({});
    MorvelProcess& morvel =
        desktop.start({}, {"MORVEL_FIDGET_SELFTEST=1", "MORVEL_THEME_SELFTEST=1"});
    EXPECT_EQ(morvel.process().wait(20s), 0);
    EXPECT_THAT(linesOf({"THEMETEST"}), IsEmpty());
    EXPECT_THAT(linesOf({"FDTEST complete"}), SizeIs(1));
}

TEST_F(SelfTestAudioDesktopTest, AnyOtherValueThanOneStartsNothing) {
    MorvelProcess& morvel = desktop.start(
        {}, {"MORVEL_FIDGET_SELFTEST=true", "MORVEL_THEME_SELFTEST=yes", "MORVEL_AUDIO_SELFTEST=2",
             "MORVEL_SETTINGS_SELFTEST=", "MORVEL_KEYGROUP_SELFTEST=01",
             "MORVEL_POLISH_SELFTEST=on", "MORVEL_KEYBOARD_SELFTEST=1 "});
    ASSERT_TRUE(morvel.awaitLine("event tap installed"));
    ASSERT_TRUE(morvel.awaitLine("Audio output"));
    morvel.process().signal(SIGTERM);
    ASSERT_EQ(morvel.process().wait(20s), 0);
    morvel.drain();
    EXPECT_THAT(linesOf({"SELFTEST", "THEMETEST", "SETTINGSTEST", "KEYGROUPTEST", "POLISHTEST",
                         "KBTEST", "FDTEST"}),
                IsEmpty());
}

} // namespace
} // namespace morvel::test
