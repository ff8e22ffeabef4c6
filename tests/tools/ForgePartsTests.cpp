// The parts of the synthesiser, each by itself.
#include "tools/themeforge/Bell.h"
#include "tools/themeforge/Exciter.h"
#include "tools/themeforge/Filter.h"
#include "tools/themeforge/Housing.h"
#include "tools/themeforge/Loudness.h"
#include "tools/themeforge/Modal.h"
#include "tools/themeforge/Random.h"
#include "tools/themeforge/Scrape.h"
#include "tools/themeforge/WavFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>
#include <set>

namespace morvel::forge {
namespace {

TEST(ForgeRandom, ProducesTheKnownSequenceOfThePcg32Generator) {
    Random random(42, 54);
    for (const std::uint32_t expected :
         {0xa15c02b7u, 0x7b47f409u, 0xba1d3330u, 0x83d2f293u, 0xbfa4784bu, 0xcbed606eu})
        EXPECT_EQ(random.next(), expected);
}

TEST(ForgeRandom, StreamsDifferByNameAndBySeedAndRepeatThemselves) {
    const auto first = [](std::uint64_t seed, const char* name) {
        return Random::named(seed, name).next();
    };
    const std::set<std::uint32_t> draws = {first(1, "a"), first(1, "b"), first(2, "a"),
                                           first(2, "b")};
    EXPECT_EQ(draws.size(), 4u);
    EXPECT_EQ(first(1, "a"), first(1, "a"));
}

TEST(ForgeRandom, UniformDrawsStayInRangeAndAverageOut) {
    Random random(1, 1);
    double sum = 0;
    for (int i = 0; i < 100000; ++i) {
        const double value = random.bipolar();
        ASSERT_GE(value, -1);
        ASSERT_LT(value, 1);
        sum += value;
    }
    EXPECT_NEAR(sum / 100000, 0, 0.01);
}

TEST(ForgeModal, AModeRingsAtItsFrequencyAndDecaysByItsQuality) {
    Signal impulse(22050);
    impulse[0] = 1;
    const double hz = 1000;
    const double q = 100;
    const Signal sound = ring(impulse, {{hz, q, 1.0}});
    int crossings = 0;
    for (std::size_t i = 1; i < 4410; ++i)
        crossings += sound[i - 1] < 0 && sound[i] >= 0;
    EXPECT_NEAR(crossings, 100, 1);
    const auto highest = [&](std::size_t from) {
        double value = 0;
        for (std::size_t i = from; i < from + 100; ++i)
            value = std::max(value, std::fabs(sound[i]));
        return value;
    };
    const auto timeConstant = static_cast<std::size_t>(q / (std::numbers::pi * hz) * sampleRate);
    EXPECT_NEAR(highest(timeConstant) / highest(0), std::exp(-1), 0.02);
}

TEST(ForgeBell, RingsFromItsMomentOnAtItsPitchAndFadesByItsDecay) {
    const Bell bell{50, 2000, 1, 100, 0, {{1, 0}}};
    Random take(1, 1);
    const Signal sound = strike(bell, 22050, take);
    const auto energyOf = [&](std::size_t fromMs, std::size_t toMs) {
        double sum = 0;
        for (std::size_t i = fromMs * 441 / 10; i < toMs * 441 / 10; ++i)
            sum += sound[i] * sound[i];
        return sum;
    };
    EXPECT_EQ(energyOf(0, 49), 0);
    EXPECT_NEAR(10 * std::log10(energyOf(160, 180) / energyOf(60, 80)), -8.7, 4);
    int crossings = 0;
    for (std::size_t i = 4410; i < 8820; ++i)
        crossings += sound[i - 1] < 0 && sound[i] >= 0;
    EXPECT_NEAR(crossings, 200, 2);
}

TEST(ForgeScrape, LastsItsSpanAndHasItsTeeth) {
    const Scrape even{20, 200, 500, 8000, 50, 0, 0};
    Scrape toothed = even;
    toothed.grainShare = 1;
    const auto unevenness = [](const Scrape& scrape_) {
        Random take(3, 1);
        const Signal sound = scrape(scrape_, 22050, take);
        double before = 0;
        double atTooth = 0;
        for (std::size_t tooth = 3; tooth < 8; ++tooth) {
            const std::size_t at = 882 + tooth * 882;
            for (std::size_t i = 0; i < 200; ++i) {
                atTooth += sound[at + i] * sound[at + i];
                before += sound[at - 200 + i] * sound[at - 200 + i];
            }
        }
        return 10 * std::log10(atTooth / before);
    };
    EXPECT_NEAR(unevenness(even), 0, 2);
    EXPECT_GT(unevenness(toothed), 20);
    Random take(3, 1);
    const Signal sound = scrape(even, 22050, take);
    EXPECT_EQ(energy(Signal(sound.begin(), sound.begin() + 882)), 0);
    EXPECT_LT(energy(Signal(sound.begin() + 11025, sound.end())), 1e-6 * energy(sound));
}

TEST(ForgeExciter, AHarderImpactIsBrighter) {
    const Exciter exciter{0.5, 3, 0.5, 4000};
    const auto brightness = [&](double octaves) {
        Random random(1, 1);
        Signal sound = excitation(exciter, {{0, 0, octaves}}, Variation{}, 4410, random);
        const double whole = energy(sound);
        Biquad::highPass(4000).process(sound);
        return energy(sound) / whole;
    };
    EXPECT_GT(brightness(1), 2 * brightness(0));
    EXPECT_LT(brightness(-1), brightness(0) / 2);
}

TEST(ForgeHousing, TheRoomIsTheSameForAllSoundsOfATheme) {
    Housing housing{-120, 5, -120, 100, 500, 5000, Room{6, 2, 12, -12, 6000}};
    Signal dry(4410);
    dry[0] = 1;
    const auto housed = [&](std::uint64_t sound, std::uint64_t room) {
        Draws draws{Random(sound, 1), Random(sound, 2), Random(room, 3)};
        return house(dry, housing, draws);
    };
    const auto difference = [](const StereoSignal& a, const StereoSignal& b) {
        Signal d = a.left;
        add(d, b.left, -1);
        return energy(d);
    };
    EXPECT_LT(difference(housed(1, 7), housed(2, 7)), 1e-6);
    EXPECT_GT(difference(housed(1, 7), housed(1, 8)), 0.01);
}

TEST(ForgeLoudness, AFullScaleToneAtOneKilohertzMeasuresItsPlainLevel) {
    StereoSignal tone{Signal(44100), Signal(44100)};
    for (std::size_t i = 0; i < tone.length(); ++i)
        tone.left[i] = tone.right[i] =
            std::sin(2 * std::numbers::pi * 1000 * static_cast<double>(i) / sampleRate);
    EXPECT_NEAR(loudnessDb(tone), -3.01, 0.1);
}

TEST(ForgeFilter, ABandPassKeepsItsCentreAndDropsTheRest) {
    const auto levelAt = [](double hz) {
        Signal tone(22050);
        for (std::size_t i = 0; i < tone.size(); ++i)
            tone[i] = std::sin(2 * std::numbers::pi * hz * static_cast<double>(i) / sampleRate);
        const double before = energy(tone);
        Biquad::bandPass(1000, 4).process(tone);
        return 10 * std::log10(energy(tone) / before);
    };
    EXPECT_NEAR(levelAt(1000), 0, 0.1);
    EXPECT_LT(levelAt(100), -25);
    EXPECT_LT(levelAt(10000), -25);
}

// What a file holds of a sound that stays at `level` steps of the format.
std::vector<int> samplesOf(double level, std::size_t frameCount, Random dither) {
    const Signal channel(frameCount, level / 32767);
    const std::string bytes = wavBytes({channel, channel}, dither);
    std::vector<int> samples;
    for (std::size_t at = 44; at + 1 < bytes.size(); at += 2)
        samples.push_back(
            static_cast<std::int16_t>(static_cast<unsigned char>(bytes[at]) |
                                      static_cast<unsigned char>(bytes[at + 1]) << 8));
    return samples;
}

// A triangle that reaches one step to either side has an eighth of its area beyond each half step,
// where rounding leaves zero.
TEST(ForgeWavFile, DithersSilenceToOneStepToEitherSideInAnEighthOfTheSamplesEach) {
    const auto samples = samplesOf(0, 50000, Random(1, 1));
    ASSERT_EQ(samples.size(), 100000u);
    std::map<int, double> share;
    for (const int sample : samples)
        share[sample] += 1.0 / 100000;
    EXPECT_EQ(share.size(), 3u);
    EXPECT_NEAR(share[-1], 0.125, 0.005);
    EXPECT_NEAR(share[0], 0.75, 0.007);
    EXPECT_NEAR(share[1], 0.125, 0.005);
}

// That is what dither is for: the error is noise, the same whatever the sound.
TEST(ForgeWavFile, TheErrorOfASampleDependsNeitherInItsMeanNorInItsPowerOnTheSample) {
    for (const double level : {0.0, 0.25, 0.5, 0.8, -3.3, 1000.4}) {
        double sum = 0;
        double power = 0;
        for (const int sample : samplesOf(level, 50000, Random(2, 1))) {
            sum += sample - level;
            power += (sample - level) * (sample - level);
        }
        EXPECT_NEAR(sum / 100000, 0, 0.008) << level;
        EXPECT_NEAR(power / 100000, 0.25, 0.01) << level;
    }
}

TEST(ForgeWavFile, TheSameDitherGivesTheSameBytesAndAnotherGivesOthers) {
    const StereoSignal silence{Signal(1000), Signal(1000)};
    EXPECT_EQ(wavBytes(silence, Random(1, 1)), wavBytes(silence, Random(1, 1)));
    EXPECT_NE(wavBytes(silence, Random(1, 1)), wavBytes(silence, Random(2, 1)));
}

TEST(ForgeWavFile, HoldsWhatIsTooLoudAtFullScale) {
    for (const int sample : samplesOf(40000, 100, Random(1, 1)))
        EXPECT_EQ(sample, 32767);
    for (const int sample : samplesOf(-40000, 100, Random(1, 1)))
        EXPECT_EQ(sample, -32767);
}

} // namespace
} // namespace morvel::forge
