#include "tests/support/AudioMeasure.h"
#include "tools/themeforge/Bell.h"
#include "tools/themeforge/Exciter.h"
#include "tools/themeforge/Filter.h"
#include "tools/themeforge/Housing.h"
#include "tools/themeforge/Loudness.h"
#include "tools/themeforge/Modal.h"
#include "tools/themeforge/Parameters.h"
#include "tools/themeforge/ProgressBar.h"
#include "tools/themeforge/Random.h"
#include "tools/themeforge/Scrape.h"
#include "tools/themeforge/ThemeFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <numbers>
#include <set>

namespace morvel::forge {
namespace {

namespace fs = std::filesystem;
using measure::readBytes;
using measure::readWav;

const fs::path parameterFolder = MORVEL_SOURCE_DIR "/tools/themeforge/themes";
const fs::path shippedFolder = MORVEL_SOURCE_DIR "/resources/Sounds";

class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string name = (fs::temp_directory_path() / "themeforge-XXXXXX").string();
        m_path = mkdtemp(name.data());
    }
    ~TemporaryFolder() { fs::remove_all(m_path); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const fs::path& path() const { return m_path; }

private:
    fs::path m_path;
};

struct Outcome {
    int exitCode;
    std::string output; // of both streams
};

Outcome runThemeForge(const fs::path& parameters, const fs::path& output) {
    const std::string command =
        "'" THEMEFORGE_PROGRAM "' '" + parameters.string() + "' '" + output.string() + "' 2>&1";
    Outcome outcome{-1, {}};
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe)
        return outcome;
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe))
        outcome.output.push_back(static_cast<char>(c));
    const int status = pclose(pipe);
    outcome.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return outcome;
}

std::map<std::string, std::string> filesUnder(const fs::path& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        if (entry.is_regular_file())
            files[fs::relative(entry.path(), folder).string()] = readBytes(entry.path());
    return files;
}

// What is wrong with the shipped parameters of the default theme once `change` has been made.
std::string errorAfter(const std::function<void(nlohmann::json&)>& change) {
    auto json = nlohmann::json::parse(readBytes(parameterFolder / "default.json"));
    change(json);
    const auto result = parseTheme(json.dump());
    const auto* error = std::get_if<ParameterError>(&result);
    return error ? error->description() : "";
}

// Every theme, rendered once for the whole program.
const fs::path& renderedThemes() {
    static const TemporaryFolder folder;
    static const Outcome outcome = runThemeForge(parameterFolder, folder.path());
    EXPECT_EQ(outcome.exitCode, 0) << outcome.output;
    return folder.path();
}

TEST(ThemeForge, RegeneratesTheShippedThemesWithinOneStepOfTheSampleFormat) {
    const auto made = filesUnder(renderedThemes());
    const auto shipped = filesUnder(shippedFolder);
    ASSERT_GT(shipped.size(), 100u);
    for (const auto& [name, bytes] : shipped)
        EXPECT_TRUE(made.contains(name)) << name << " is shipped but not generated";
    for (const auto& [name, bytes] : made) {
        ASSERT_TRUE(shipped.contains(name)) << name << " is generated but not shipped";
        if (fs::path(name).extension() != ".wav") {
            EXPECT_EQ(bytes, shipped.at(name)) << name;
            continue;
        }
        const auto now = readWav(renderedThemes() / name);
        const auto then = readWav(shippedFolder / name);
        ASSERT_TRUE(now && then) << name;
        ASSERT_EQ(now->samples.size(), then->samples.size()) << name;
        int furthest = 0;
        for (std::size_t i = 0; i < now->samples.size(); ++i)
            furthest = std::max(furthest, std::abs(now->samples[i] - then->samples[i]));
        EXPECT_LE(furthest, 1) << name;
    }
}

TEST(ThemeForge, GeneratesTheSameBytesWhateverTheNumberOfThreads) {
    const auto theme = std::get<Theme>(readTheme(parameterFolder / "default.json"));
    const TemporaryFolder alone;
    const TemporaryFolder together;
    std::size_t written = 0;
    ASSERT_EQ(writeThemeFolder(theme, alone.path()), std::nullopt);
    ASSERT_EQ(writeThemeFolder(theme, together.path(), 5, [&] { ++written; }), std::nullopt);
    EXPECT_EQ(written, soundCount(theme));
    EXPECT_TRUE(filesUnder(alone.path()) == filesUnder(together.path()));
}

TEST(ThemeForge, NamesTheFirstSoundThatCannotBeWritten) {
    const auto theme = std::get<Theme>(readTheme(parameterFolder / "default.json"));
    const TemporaryFolder folder;
    const auto inTheWay = folder.path() / "default" / fileName(SoundCategory::keyDown, 2);
    fs::create_directories(inTheWay);
    fs::create_directories(folder.path() / "default" / fileName(SoundCategory::pop, 1));
    EXPECT_EQ(writeThemeFolder(theme, folder.path(), 4), inTheWay.string() + " cannot be written");
}

TEST(ThemeForge, TellsALineAThemeWhereThereIsNoTerminal) {
    const TemporaryFolder folder;
    const Outcome outcome = runThemeForge(parameterFolder / "default.json", folder.path());
    EXPECT_EQ(outcome.output, "default: 18 categories, 60 sounds\n");
}

TEST(ThemeForge, ReadsAllParametersBeforeItWritesASound) {
    const TemporaryFolder folder;
    fs::copy_file(parameterFolder / "default.json", folder.path() / "a.json");
    std::ofstream(folder.path() / "b.json") << "{}";
    const Outcome outcome = runThemeForge(folder.path(), folder.path() / "out");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_FALSE(fs::exists(folder.path() / "out"));
}

TEST(ThemeForge, DrawsItsBarOverItselfOnATerminalAndOnlyLinesElsewhere) {
    EXPECT_EQ(progressBar(5, 20, "deep"), "[##########                              ]  5/20 deep");
    EXPECT_EQ(progressBar(20, 20, "deep"), "[########################################] 20/20 deep");
    const TemporaryFolder folder;
    const auto shown = [&](bool isTerminal) {
        const auto file = folder.path() / "shown";
        std::FILE* stream = std::fopen(file.c_str(), "w");
        ProgressDisplay display(stream, isTerminal, 2);
        display.step("deep");
        display.step("deep");
        display.line("deep: done");
        std::fclose(stream);
        return readBytes(file);
    };
    EXPECT_EQ(shown(false), "deep: done\n");
    EXPECT_EQ(shown(true), "\r\x1b[K" + progressBar(1, 2, "deep") + "\r\x1b[K" +
                               progressBar(2, 2, "deep") + "\r\x1b[Kdeep: done\n");
}

TEST(ThemeForge, GeneratesTheSameBytesTwice) {
    const TemporaryFolder again;
    ASSERT_EQ(runThemeForge(parameterFolder, again.path()).exitCode, 0);
    EXPECT_TRUE(filesUnder(again.path()) == filesUnder(renderedThemes()));
}

TEST(ThemeForge, AnotherSeedIsAnotherTake) {
    auto theme = std::get<Theme>(readTheme(parameterFolder / "default.json"));
    const auto before = renderFile(theme, theme.categories.front(), 1);
    ++theme.seed;
    EXPECT_NE(renderFile(theme, theme.categories.front(), 1), before);
}

TEST(ThemeForge, RemovingACategoryChangesNoOther) {
    auto theme = std::get<Theme>(readTheme(parameterFolder / "default.json"));
    const auto last = theme.categories.back();
    const auto before = renderFile(theme, last, 1);
    theme.categories.erase(theme.categories.begin());
    EXPECT_EQ(renderFile(theme, last, 1), before);
}

TEST(ThemeForge, FilesAreNamedByCategoryAndVariant) {
    EXPECT_EQ(fileName(SoundCategory::keyDown, 1), "keyboard-down-1.wav");
    EXPECT_EQ(fileName(SoundCategory::capsLockUp, 2), "keyboard-capsLock-up-2.wav");
    EXPECT_EQ(fileName(SoundCategory::toggleOn, 12), "fidget-toggleOn-12.wav");
}

TEST(ThemeForge, RefusesAFileThatIsNotJsonInOneLine) {
    const TemporaryFolder folder;
    const auto file = folder.path() / "broken.json";
    std::ofstream(file) << "{ \"id\": \n not json";
    const Outcome outcome = runThemeForge(file, folder.path() / "out");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.output.find("broken.json: is not JSON"), std::string::npos) << outcome.output;
    EXPECT_EQ(std::count(outcome.output.begin(), outcome.output.end(), '\n'), 1) << outcome.output;
    EXPECT_FALSE(fs::exists(folder.path() / "out"));
}

TEST(ThemeForge, RefusesAFileThatIsNotThereAndAFolderWithoutParameters) {
    const TemporaryFolder folder;
    EXPECT_EQ(runThemeForge(folder.path() / "absent.json", folder.path()).exitCode, 1);
    EXPECT_EQ(runThemeForge(folder.path(), folder.path()).exitCode, 1);
}

TEST(ThemeForge, ReportsAFolderThatCannotBeWritten) {
    const TemporaryFolder folder;
    const auto blocked = folder.path() / "file";
    std::ofstream(blocked) << "in the way";
    const Outcome outcome = runThemeForge(parameterFolder / "default.json", blocked);
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.output.find("cannot be made"), std::string::npos) << outcome.output;
}

TEST(ThemeParameters, NameTheFieldThatIsMissing) {
    EXPECT_EQ(errorAfter([](auto& json) { json.erase("name"); }), "name is missing");
    EXPECT_EQ(errorAfter([](auto& json) { json["voices"]["press"]["exciter"].erase("decayMs"); }),
              "voices.press.exciter.decayMs is missing");
}

TEST(ThemeParameters, NameTheFieldThatIsNotKnown) {
    EXPECT_EQ(errorAfter([](auto& json) { json["colour"] = 1; }),
              "colour is not a field known here");
    EXPECT_EQ(errorAfter([](auto& json) { json["voices"]["press"]["bodies"]["cap"]["qq"] = 3; }),
              "voices.press.bodies.cap.qq is not a field known here");
}

TEST(ThemeParameters, RefuseValuesOfTheWrongTypeOrOutOfRange) {
    EXPECT_EQ(errorAfter([](auto& json) { json["seed"] = -1; }),
              "seed must be a whole number, 0 or more");
    EXPECT_EQ(errorAfter([](auto& json) { json["voices"]["press"]["tuning"] = "high"; }),
              "voices.press.tuning must be a number");
    EXPECT_EQ(
        errorAfter([](auto& json) { json["voices"]["press"]["exciter"]["noiseShare"] = 1.5; }),
        "voices.press.exciter.noiseShare must lie between 0 and 1");
    EXPECT_EQ(errorAfter([](auto& json) { json["categories"]["keyboard.down"]["variants"] = 0; }),
              "categories.keyboard.down.variants must lie between 1 and 99");
    EXPECT_EQ(errorAfter([](auto& json) { json["id"] = "../up"; }),
              "id must be made of letters, digits, '-' and '_'");
    EXPECT_EQ(errorAfter([](auto& json) { json["voices"]["press"]["kind"] = "gong"; }),
              "voices.press.kind must be \"strike\", \"pop\" or \"whir\"");
}

TEST(ThemeParameters, RefuseCategoriesAndVoicesThatDoNotExist) {
    EXPECT_EQ(errorAfter([](auto& json) {
                  json["categories"]["keyboard.sideways"] = {{"voice", "press"}, {"variants", 1}};
              }),
              "categories.keyboard.sideways is not a sound category");
    EXPECT_EQ(
        errorAfter([](auto& json) { json["categories"]["keyboard.down"]["voice"] = "ghost"; }),
        "categories.keyboard.down.voice names the voice \"ghost\", which is not there");
}

TEST(ThemeParameters, RefuseVoicesThatInheritFromEachOther) {
    EXPECT_NE(errorAfter([](auto& json) {
                  json["voices"]["press"]["like"] = "release";
              }).find("leads round in a circle"),
              std::string::npos);
}

TEST(ThemeParameters, AVoiceStatesOnlyWhatDiffersFromTheOneItIsLike) {
    const auto theme = std::get<Theme>(readTheme(parameterFolder / "default.json"));
    std::map<SoundCategory, Strike> strikes;
    for (const auto& sound : theme.categories)
        if (const auto* strike = std::get_if<Strike>(&sound.voice))
            strikes.emplace(sound.category, *strike);
    const auto& press = strikes.at(SoundCategory::keyDown);
    const auto& space = strikes.at(SoundCategory::spaceDown);
    EXPECT_FALSE(press.rattle);
    EXPECT_TRUE(space.rattle);
    EXPECT_LT(space.tuning, press.tuning);
    EXPECT_EQ(space.bodies.at("cap").q, press.bodies.at("cap").q);
}

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

} // namespace
} // namespace morvel::forge
