#include "audio/sample/AudioFileReader.h"
#include "platform/simulated/OfflineAudioOutput.h"
#include "platform/simulated/ScriptedRandom.h"
#include "platform/simulated/SimulatedLog.h"
#include "selftest/ThemeSelfTest.h"
#include "tests/selftest/TimedRun.h"
#include "tests/themes/ThemeFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace morvel {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::Not;

TEST(ThemeSelfTestSwitch, TheWordsTrueAndYesDoNotEnableItButOneDoes) {
    for (const char* value : {"true", "yes", "0", "", "11", " 1"})
        EXPECT_FALSE(
            ThemeSelfTest::isEnabled(test::environmentOf({{"MORVEL_THEME_SELFTEST", value}})))
            << value;
    EXPECT_FALSE(ThemeSelfTest::isEnabled(test::environmentOf({})));
    EXPECT_TRUE(ThemeSelfTest::isEnabled(test::environmentOf({{"MORVEL_THEME_SELFTEST", "1"}})));
}

class ThemeSelfTestTest : public testing::Test {
protected:
    using ThemePointer = std::shared_ptr<const SoundTheme>;

    ThemePointer load(const std::string& id, ThemePointer fallback = nullptr) {
        ThemeDescriptor descriptor;
        descriptor.id = id;
        descriptor.directory = folder / id;
        auto loaded = SoundTheme::load(descriptor, std::move(fallback), loading, random);
        return loaded ? std::move(loaded).value() : nullptr;
    }
    ThemePointer rootsOnly(ThemePointer fallback = nullptr) {
        makeMinimalTheme(folder.path(), "roots", "Roots Only");
        return load("roots", std::move(fallback));
    }
    // All toys' sounds but the pop's.
    ThemePointer toys() {
        std::string categories(toyCategories);
        const std::string_view pop = R"("fidget.pop": {"variants": ["toy.wav"]},)";
        categories.erase(categories.find(pop), pop.size());
        makeTheme(folder.path(), "toys", manifestWith("{" + categories + "}", "Toys"), {"toy.wav"});
        return load("toys");
    }

    void run(const ThemePointer& theme) {
        ASSERT_TRUE(theme);
        sounds = std::make_shared<test::TimedSounds>(time, theme);
        audio.setResolver(sounds);
        selfTest.emplace(ThemeSelfTest::Services{time, log, audio}, test::environmentOf(variables));
        selfTest->run(*theme);
    }
    std::vector<std::string> linesWith(std::string_view part) const {
        std::vector<std::string> found;
        std::ranges::copy_if(log.lines(), std::back_inserter(found), [part](const auto& line) {
            return line.find(part) != std::string::npos;
        });
        return found;
    }
    // All up to the first line that tells of the recording.
    std::vector<std::string> report() const {
        auto lines = log.lines();
        const auto end = std::ranges::find_if(lines, [](const std::string& line) {
            return line.find("THEMETEST recording to") != std::string::npos;
        });
        lines.erase(end, lines.end());
        return lines;
    }

    TemporaryFolder folder;
    std::string file = (folder / "heard.wav").string();
    std::map<std::string, std::string> variables = {{"MORVEL_SELFTEST_OUT", file}};
    VirtualTime time;
    test::TimedLog log{time};
    SimulatedLog loading;
    OfflineAudioOutput output;
    // Of several variants the second comes with the last of the draws.
    ScriptedRandom random{[] {
        std::vector<std::uint32_t> draws(23, 0);
        draws.push_back(1);
        return draws;
    }()};
    AudioEngine audio{{output, time, time, random, log}, false};
    std::shared_ptr<test::TimedSounds> sounds;
    std::optional<ThemeSelfTest> selfTest;
};

TEST_F(ThemeSelfTestTest, ARootsOnlyThemeReportsTwoExactAndTwentyTwoViaRootAndOnlyTwoPeaks) {
    run(rootsOnly(toys()));
    std::vector<std::string> expected = {"THEMETEST theme 'roots' (Roots Only)",
                                         "THEMETEST   keyboard.down              exact",
                                         "THEMETEST   keyboard.up                exact"};
    std::string viaRoot;
    for (const SoundCategory category : allSoundCategories())
        if (group(category)) {
            expected.push_back(
                fmt::format("THEMETEST   {:26} in-theme keyboard.down/up", rawValue(category)));
            viaRoot += (viaRoot.empty() ? "" : ", ") + std::string(rawValue(category));
        }
    for (const std::string line : {
             "THEMETEST   fidget.toggleOn            inherited from Default",
             "THEMETEST   fidget.toggleOff           inherited from Default",
             "THEMETEST   fidget.dialTick            inherited from Default",
             "THEMETEST   fidget.dialLoop            inherited from Default",
             "THEMETEST   fidget.pop                 UNRESOLVED",
             "THEMETEST   fidget.popReset            inherited from Default",
             "THEMETEST   fidget.buttonDown          inherited from Default",
             "THEMETEST   fidget.buttonUp            inherited from Default",
             "THEMETEST resolution: 2/32 exact, 22 via in-theme root, 7 inherited, 1 unresolved",
         })
        expected.push_back(line);
    expected.push_back("THEMETEST   via in-theme root: " + viaRoot);
    for (const std::string line : {
             "THEMETEST   inherited: fidget.toggleOn, fidget.toggleOff, fidget.dialTick, "
             "fidget.dialLoop, fidget.popReset, fidget.buttonDown, fidget.buttonUp",
             "THEMETEST   UNRESOLVED: fidget.pop",
             "THEMETEST   peak keyboard.down          0.2500  (64 frames max)",
             "THEMETEST   peak keyboard.up            0.2500  (64 frames max)",
             "THEMETEST loudest category: keyboard.down at 0.2500 (limiter threshold is full "
             "scale)",
         })
        expected.push_back(line);
    for (std::string& line : expected)
        line.insert(0, "0.000 [Morvel] ");
    EXPECT_THAT(report(), ElementsAreArray(expected));
}

TEST_F(ThemeSelfTestTest, WithoutAFallbackTheToysAreUnresolvedAndListedButNothingFails) {
    run(rootsOnly());
    EXPECT_THAT(linesWith("THEMETEST resolution:"),
                ElementsAre(HasSubstr("2/32 exact, 22 via in-theme root, 0 inherited, 8 "
                                      "unresolved")));
    EXPECT_THAT(
        linesWith("UNRESOLVED:"),
        ElementsAre("0.000 [Morvel] THEMETEST   UNRESOLVED: fidget.toggleOn, fidget.toggleOff, "
                    "fidget.dialTick, fidget.dialLoop, fidget.pop, fidget.popReset, "
                    "fidget.buttonDown, fidget.buttonUp"));
    EXPECT_THAT(linesWith("  inherited:"), ElementsAre("0.000 [Morvel] THEMETEST   inherited: "));
    time.advance(30);
    EXPECT_EQ(log.lines().back(), "20.750 [Morvel] THEMETEST complete");
}

TEST_F(ThemeSelfTestTest, APeakIsTheLargestSampleOfTwentyFourDrawsTimesTheGain) {
    makeTheme(folder.path(), "loud", manifestWith(R"({
        "keyboard.down": {"variants": ["long.wav", "low.wav"], "gain": 1.5},
        "fidget.pop": {"variants": ["long.wav"], "gain": 0.5}})"),
              {});
    writeClick(folder / "loud" / "long.wav", 0.25F, 1000);
    writeClick(folder / "loud" / "low.wav", -0.5F, 10);
    run(load("loud"));
    EXPECT_THAT(
        linesWith("peak"),
        ElementsAre("0.000 [Morvel] THEMETEST   peak keyboard.down          0.7500  (1000 frames "
                    "max)",
                    "0.000 [Morvel] THEMETEST   peak fidget.pop             0.1250  (1000 frames "
                    "max)"));
    EXPECT_THAT(linesWith("loudest"),
                ElementsAre("0.000 [Morvel] THEMETEST loudest category: keyboard.down at 0.7500 "
                            "(limiter threshold is full scale)"));
}

TEST_F(ThemeSelfTestTest, TheLogTellsEachStepAtItsTime) {
    run(rootsOnly(toys()));
    log.clear();
    time.advance(60);
    std::vector<std::string> expected = {
        "0.500 [Morvel] THEMETEST section 1: 31 one-shot categories"};
    double now = 0.5;
    for (const SoundCategory category : allSoundCategories()) {
        if (category == SoundCategory::dialLoop)
            continue;
        expected.push_back(
            fmt::format("{:.3f} [Morvel] THEMETEST   play {}", now, rawValue(category)));
        if (category == SoundCategory::pop)
            expected.push_back(fmt::format(
                "{:.3f} [Morvel] No sample for category 'fidget.pop' in the current theme", now));
        now += 0.25;
    }
    for (const char* line : {
             "8.850 [Morvel] THEMETEST section 2: 6x fidget.pop simultaneously",
             "10.350 [Morvel] THEMETEST section 3: fidget.dialLoop loop at rate 0.500",
             "12.350 [Morvel] THEMETEST section 3: fidget.dialLoop loop at rate 0.800",
             "14.350 [Morvel] THEMETEST section 3: fidget.dialLoop loop at rate 1.000",
             "16.350 [Morvel] THEMETEST section 3: fidget.dialLoop loop at rate 1.500",
             "18.350 [Morvel] THEMETEST section 3: fidget.dialLoop loop at rate 2.000",
             "20.750 [Morvel] THEMETEST complete",
         })
        expected.emplace_back(line);
    EXPECT_THAT(log.lines(), ElementsAreArray(expected));
}

TEST_F(ThemeSelfTestTest, EachSoundIsPlayedAtItsTime) {
    run(rootsOnly(toys()));
    time.advance(60);
    std::vector<std::string> expected;
    double now = 0.5;
    for (const SoundCategory category : allSoundCategories()) {
        if (category == SoundCategory::dialLoop)
            continue;
        expected.push_back(fmt::format("{:.3f} {}", now, rawValue(category)));
        now += 0.25;
    }
    expected.insert(expected.end(), 6, "8.850 fidget.pop");
    for (const char* loop : {"10.350", "12.350", "14.350", "16.350", "18.350"})
        expected.push_back(std::string(loop) + " fidget.dialLoop");
    EXPECT_THAT(sounds->asked.lines(), ElementsAreArray(expected));
}

TEST_F(ThemeSelfTestTest, TheLoopGoesThroughItsRatesAndStopsAfterTheLast) {
    run(rootsOnly(toys()));
    time.advance(10.4);
    for (const float rate : {0.5F, 0.8F, 1.0F, 1.5F, 2.0F}) {
        EXPECT_EQ(audio.loopCategory(), SoundCategory::dialLoop);
        EXPECT_EQ(audio.loopGain(), 0.9F);
        EXPECT_EQ(audio.loopRate(), rate);
        time.advance(2);
    }
    EXPECT_FALSE(audio.loopCategory());
}

TEST_F(ThemeSelfTestTest, AnotherToysLoopIsLeftAlone) {
    run(rootsOnly(toys()));
    time.advance(20);
    audio.startLoop(SoundCategory::toggleOn, 1, 1);
    time.advance(10);
    EXPECT_EQ(audio.loopCategory(), SoundCategory::toggleOn);
}

TEST_F(ThemeSelfTestTest, WithoutAPathTheRecordingReplacesAnOlderOneInTheTemporaryFolder) {
    variables.clear();
    const test::TemporaryFiles elsewhere(folder.path());
    const auto usual = folder.file("morvel-themetest.wav", "an older recording");
    run(rootsOnly());
    EXPECT_THAT(log.lines(), Contains("0.000 [Morvel] THEMETEST recording to " + usual.string()));
    output.render(1000);
    time.advance(30);
    auto reader = AudioFileReader::open(usual);
    ASSERT_TRUE(reader) << reader.error().description();
    EXPECT_EQ(reader->length(), 1000U);
}

TEST_F(ThemeSelfTestTest, TheRecordingEndsWithTheTest) {
    run(rootsOnly());
    output.render(1000);
    time.advance(20.76);
    output.render(1000);
    auto reader = AudioFileReader::open(file);
    ASSERT_TRUE(reader) << reader.error().description();
    EXPECT_EQ(reader->length(), 1000U);
}

TEST_F(ThemeSelfTestTest, ARecordingThatCannotStartIsLoggedAndTheSoundsStillPlay) {
    variables["MORVEL_SELFTEST_OUT"] = (folder / "missing" / "heard.wav").string();
    run(rootsOnly(toys()));
    EXPECT_THAT(linesWith("recording"),
                ElementsAre(testing::MatchesRegex(
                    "0\\.000 \\[Morvel\\] THEMETEST could not start recording: .+")));
    time.advance(30);
    EXPECT_THAT(sounds->asked.lines(), testing::SizeIs(31 + 6 + 5));
    EXPECT_EQ(log.lines().back(), "20.750 [Morvel] THEMETEST complete");
}

TEST_F(ThemeSelfTestTest, WithoutARecordingOfItsOwnItEndsNobodyElses) {
    ASSERT_FALSE(audio.startRecording(file));
    variables["MORVEL_SELFTEST_OUT"] = (folder / "missing" / "heard.wav").string();
    run(rootsOnly());
    time.advance(30);
    output.render(500);
    audio.stopRecording();
    auto reader = AudioFileReader::open(file);
    ASSERT_TRUE(reader) << reader.error().description();
    EXPECT_EQ(reader->length(), 500U);
}

} // namespace
} // namespace morvel
