#include "tools/audition/Audition.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <string>

namespace morvel::audition {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A stereo sound that dies away, between two silences of 1,000 frames.
std::vector<float> recordedSound() {
    std::vector<float> interleaved(2000);
    for (int n = 0; n < 8000; ++n) {
        const double sample = 0.5 * std::exp(-n / 900.0) * std::cos(0.13 * n);
        interleaved.insert(interleaved.end(), 2, static_cast<float>(sample));
    }
    interleaved.insert(interleaved.end(), 2000, 0.0F);
    return interleaved;
}

void silence(std::vector<float>& interleaved, std::size_t frame, std::size_t count) {
    std::fill_n(interleaved.begin() + static_cast<std::ptrdiff_t>(2 * frame), 2 * count, 0.0F);
}

TEST(TypingScript, AKeyIsReleasedBeforeItIsPressedAgain) {
    std::set<xkb_keysym_t> held;
    std::size_t presses = 0;
    for (const KeyStroke& stroke : typingScript(std::string(50, 'o') + std::string(50, '\b'))) {
        if (stroke.pressed) {
            EXPECT_TRUE(held.insert(stroke.keysym).second) << "at " << stroke.at;
            ++presses;
        } else {
            EXPECT_EQ(held.erase(stroke.keysym), 1U) << "at " << stroke.at;
        }
    }
    EXPECT_EQ(presses, 100U);
    EXPECT_THAT(held, IsEmpty());
}

TEST(DropOuts, ASoundThatEndsByItselfHasNone) {
    EXPECT_THAT(dropOuts(recordedSound()), IsEmpty());
    EXPECT_THAT(dropOuts({}), IsEmpty());
}

TEST(DropOuts, AHoleInASoundIsFoundWhereItBegins) {
    std::vector<float> recording = recordedSound();
    silence(recording, 1500, 31);
    silence(recording, 2800, 124);
    EXPECT_THAT(dropOuts(recording), ElementsAre(1500, 2800));
}

TEST(DropOuts, ASoundThatIsCutShortByItsOwnEndHasNone) {
    std::vector<float> recording = recordedSound();
    silence(recording, 3000, 7000);
    EXPECT_THAT(dropOuts(recording), IsEmpty());
}

TEST(DropOuts, AFewSamplesThatAreZeroByThemselvesAreNone) {
    std::vector<float> recording = recordedSound();
    silence(recording, 1500, 8);
    EXPECT_THAT(dropOuts(recording), IsEmpty());
}

TEST(MonitorRecording, FramesOfABlockSoundedOneAfterTheOtherUpToItsArrival) {
    MonitorRecording recording;
    recording.interleaved.resize(std::size_t{2} * 882);
    recording.arrivals = {{441, 20'000'000}, {882, 30'000'000}};
    EXPECT_NEAR(static_cast<double>(recording.hostNanos(0)), 10.0e6, 50e3);
    EXPECT_EQ(recording.hostNanos(440), 20'000'000U);
    EXPECT_NEAR(static_cast<double>(recording.hostNanos(441)), 20.0e6, 50e3);
    EXPECT_EQ(recording.hostNanos(881), 30'000'000U);
    EXPECT_EQ(recording.hostNanos(882), 0U) << "not recorded";
}

TEST(MonitorRecording, ALaterOneIsAddedWithTheTimesOfItsFrames) {
    MonitorRecording first;
    first.interleaved.assign(std::size_t{2} * 441, 0.25F);
    first.arrivals = {{441, 20'000'000}};
    MonitorRecording second;
    second.interleaved.assign(std::size_t{2} * 100, 0.5F);
    second.arrivals = {{100, 90'000'000}};
    first.append(second);
    EXPECT_EQ(first.frameLength(), 541U);
    EXPECT_EQ(first.interleaved[882], 0.5F);
    EXPECT_EQ(first.hostNanos(440), 20'000'000U);
    EXPECT_EQ(first.hostNanos(540), 90'000'000U);
}

TEST(Stalls, AreWhereNothingArrivedForMuchLongerThanTheFramesLast) {
    MonitorRecording recording;
    recording.arrivals = {{256, 10'000'000}, {512, 16'000'000}, {768, 40'000'000}};
    EXPECT_EQ(stalls(recording), 0U); // 24 ms for 6 ms of sound
    recording.arrivals.push_back({1024, 70'000'000});
    EXPECT_EQ(stalls(recording), 1U);
    recording.arrivals.push_back({3670, 130'000'000}); // 60 ms, and as much sound
    EXPECT_EQ(stalls(recording), 1U);
    EXPECT_EQ(stalls({}), 0U);
}

TEST(TypingScript, NoSectionEndsWhileCapsLockIsOn) {
    const auto script = typingScript("be ⇪loud for a while⇪ and quiet again, for as long as that.");
    const auto parts = sections(script, 0.5);
    EXPECT_GT(parts.size(), 2U);
    for (const auto& part : parts) {
        const auto motions = [&](SoundCategory motion) {
            return std::ranges::count(part, std::optional(motion), &KeyStroke::sound);
        };
        EXPECT_EQ(motions(SoundCategory::capsLockDown), motions(SoundCategory::capsLockUp));
    }
}

TEST(TypingScript, ItsSectionsAreTheWholeAndEndWithNoKeyDown) {
    const auto script = typingScript("Morvel, ⌃c and some more words to type,\nin a row.");
    const auto parts = sections(script, 1);
    EXPECT_GT(parts.size(), 2U);
    std::size_t strokes = 0;
    for (const auto& part : parts) {
        int down = 0;
        for (const KeyStroke& stroke : part)
            down += stroke.pressed ? 1 : -1;
        EXPECT_EQ(down, 0);
        EXPECT_EQ(part.front().keysym, script[strokes].keysym);
        strokes += part.size();
        if (strokes < script.size()) {
            EXPECT_GE(part.back().at - part.front().at, 1);
        }
    }
    EXPECT_EQ(strokes, script.size());
}

} // namespace
} // namespace morvel::audition
