#include "audio/sample/AudioFileReader.h"
#include "platform/simulated/OfflineAudioOutput.h"
#include "platform/simulated/ScriptedRandom.h"
#include "selftest/AudioSelfTest.h"
#include "tests/audio/EngineFixture.h"
#include "tests/audio/Signals.h"
#include "tests/selftest/TimedRun.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

namespace morvel {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;

TEST(AudioSelfTestSwitch, OnlyTheValueOneEnablesIt) {
    for (const char* value : {"true", "yes", "0", "", "11", " 1"})
        EXPECT_FALSE(
            AudioSelfTest::isEnabled(test::environmentOf({{"MORVEL_AUDIO_SELFTEST", value}})))
            << value;
    EXPECT_FALSE(AudioSelfTest::isEnabled(test::environmentOf({})));
    EXPECT_TRUE(AudioSelfTest::isEnabled(test::environmentOf({{"MORVEL_AUDIO_SELFTEST", "1"}})));
}

class AudioSelfTestTest : public testing::Test {
protected:
    AudioSelfTestTest() {
        theme->set(SoundCategory::popReset, popReset);
        theme->set(SoundCategory::keyDown, test::constant(0.25F, 4410));
        audio.setResolver(sounds);
    }

    AudioSelfTest::Services services() {
        return {time, log, audio, [this] { ended.add("terminate"); }};
    }
    void run() {
        selfTest.emplace(services(), test::environmentOf({{"MORVEL_SELFTEST_OUT", file}}));
        selfTest->run();
    }
    // An output that asks for little sound, so that hours pass faster than a disk is written.
    std::size_t pass(double seconds) {
        constexpr std::size_t framesPerStep = 100;
        std::size_t frames = 0;
        for (double end = time.now() + seconds - 1e-6; time.now() < end; time.advance(0.01)) {
            if (output.state() != AudioOutputState::running)
                continue;
            const auto out = output.render(framesPerStep);
            frames += framesPerStep;
            heard = std::max(heard, test::peak(out));
        }
        return frames;
    }

    TemporaryFolder folder;
    std::string file = (folder / "heard.wav").string();
    VirtualTime time;
    test::TimedLog log{time};
    test::TimedLines ended{time};
    OfflineAudioOutput output;
    ScriptedRandom random{{0}};
    std::shared_ptr<const PcmBuffer> popReset = test::constant(0.125F, 22050);
    std::shared_ptr<test::MadeUpTheme> theme = std::make_shared<test::MadeUpTheme>();
    std::shared_ptr<test::TimedSounds> sounds = std::make_shared<test::TimedSounds>(time, theme);
    AudioEngine audio{{output, time, time, random, log}, false};
    std::optional<AudioSelfTest> selfTest;
    float heard = 0;
};

TEST_F(AudioSelfTestTest, TheLogTellsEachStepAtItsTime) {
    run();
    pass(20);
    std::vector<std::string> expected = {
        "0.000 [Morvel] SELFTEST recording to " + file,
        "0.500 [Morvel] SELFTEST section 1: single popReset",
        "1.500 [Morvel] SELFTEST section 2: 6x popReset simultaneously",
    };
    for (int active = 1; active <= 6; ++active)
        expected.push_back(fmt::format("1.500 [Morvel] TRACE play fidget.popReset variant={:X} "
                                       "rate=1.0000 vol=1.00 active={}",
                                       std::hash<const PcmBuffer*>{}(popReset.get()) & 0xFFFF,
                                       active));
    for (const char* line : {
             "3.000 [Morvel] SELFTEST section 3: 8x keyDown at 40 ms",
             "4.500 [Morvel] SELFTEST section 4: 10x keyDown at 300 ms",
             "8.000 [Morvel] SELFTEST section 5: configuration change mid-run",
             "8.000 [Morvel] Simulating configuration change (stopping engine)",
             "8.100 [Morvel] Audio configuration changed — restarting engine (running=false)",
             "8.100 [Morvel] Audio engine restarted (running=true)",
             "8.800 [Morvel] SELFTEST   engine running after restart: true",
             "8.800 [Morvel] SELFTEST   playing popReset after restart (must be audible)",
             "10.300 [Morvel] SELFTEST complete",
         })
        expected.emplace_back(line);
    EXPECT_THAT(log.lines(), ElementsAreArray(expected));
    EXPECT_THAT(ended.lines(), ElementsAre("10.300 terminate"));
}

TEST_F(AudioSelfTestTest, EachSoundIsPlayedAtItsTime) {
    run();
    pass(20);
    std::vector<std::string> expected = {"0.500 fidget.popReset"};
    expected.insert(expected.end(), 6, "1.500 fidget.popReset");
    for (int i = 0; i < 8; ++i)
        expected.push_back(fmt::format("{:.3f} keyboard.down", 3.0 + 0.04 * i));
    for (int i = 0; i < 10; ++i)
        expected.push_back(fmt::format("{:.3f} keyboard.down", 4.5 + 0.3 * i));
    expected.emplace_back("8.800 fidget.popReset");
    EXPECT_THAT(sounds->asked.lines(), ElementsAreArray(expected));
}

TEST_F(AudioSelfTestTest, WhatItPlaysIsHeardAlsoAfterTheRestart) {
    run();
    pass(0.6);
    EXPECT_EQ(heard, 0.125F);
    pass(1);
    EXPECT_EQ(heard, 6 * 0.125F) << "six at once";
    pass(7.1);
    heard = 0;
    pass(0.5);
    EXPECT_EQ(heard, 0.125F);
}

TEST_F(AudioSelfTestTest, TheRecordingReplacesAnOlderOneAndHoldsAllThatWasRendered) {
    folder.file("heard.wav", "an older recording");
    run();
    const std::size_t rendered = pass(10.4);
    ASSERT_EQ(audio.recordingOverflowFrames(), 0U);
    audio.stopRecording();
    auto reader = AudioFileReader::open(file);
    ASSERT_TRUE(reader) << reader.error().description();
    EXPECT_EQ(reader->length(), rendered);
}

TEST_F(AudioSelfTestTest, WithoutAPathTheRecordingIsInTheTemporaryFolder) {
    const test::TemporaryFiles elsewhere(folder.path());
    selfTest.emplace(services(), test::environmentOf({}));
    selfTest->run();
    const auto usual = folder / "morvel-selftest.wav";
    EXPECT_THAT(log.lines(), Contains("0.000 [Morvel] SELFTEST recording to " + usual.string()));
    EXPECT_TRUE(std::filesystem::exists(usual));
}

TEST_F(AudioSelfTestTest, ARecordingThatCannotStartEndsItAtOnce) {
    file = (folder / "missing" / "heard.wav").string();
    run();
    EXPECT_THAT(ended.lines(), ElementsAre("0.000 terminate"));
    pass(20);
    EXPECT_THAT(log.lines(), ElementsAre(testing::MatchesRegex(
                                 "0\\.000 \\[Morvel\\] SELFTEST could not start recording: .+")));
    EXPECT_THAT(sounds->asked.lines(), testing::IsEmpty());
}

TEST_F(AudioSelfTestTest, AnEngineThatDoesNotComeBackIsReportedAndTheTestGoesOn) {
    run();
    pass(7.9);
    output.setSlow(true);
    pass(10);
    EXPECT_THAT(log.lines(), Contains("8.400 [Morvel] Audio engine restarted (running=false)"));
    EXPECT_THAT(log.lines(),
                Contains("8.800 [Morvel] SELFTEST   engine running after restart: false"));
    EXPECT_THAT(ended.lines(), ElementsAre("10.300 terminate"));
}

TEST_F(AudioSelfTestTest, AFolderInTheRecordingsPlaceStaysThere) {
    file = folder.folder("kept").string();
    run();
    EXPECT_TRUE(std::filesystem::is_directory(file));
    EXPECT_THAT(ended.lines(), ElementsAre("0.000 terminate"));
}

} // namespace
} // namespace morvel
