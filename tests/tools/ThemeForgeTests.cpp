#include "tests/support/AudioMeasure.h"
#include "tools/themeforge/Filter.h"
#include "tools/themeforge/Loudness.h"
#include "tools/themeforge/Modal.h"
#include "tools/themeforge/Parameters.h"
#include "tools/themeforge/Random.h"
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

TEST(ThemeForge, RegeneratesTheShippedThemesWithinOneStepOfTheSampleFormat) {
    const TemporaryFolder folder;
    const Outcome outcome = runThemeForge(parameterFolder, folder.path());
    ASSERT_EQ(outcome.exitCode, 0) << outcome.output;
    const auto made = filesUnder(folder.path());
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
        const auto now = readWav(folder.path() / name);
        const auto then = readWav(shippedFolder / name);
        ASSERT_TRUE(now && then) << name;
        ASSERT_EQ(now->samples.size(), then->samples.size()) << name;
        int furthest = 0;
        for (std::size_t i = 0; i < now->samples.size(); ++i)
            furthest = std::max(furthest, std::abs(now->samples[i] - then->samples[i]));
        EXPECT_LE(furthest, 1) << name;
    }
}

TEST(ThemeForge, GeneratesTheSameBytesTwice) {
    const TemporaryFolder first;
    const TemporaryFolder second;
    const auto theme = parameterFolder / "default.json";
    ASSERT_EQ(runThemeForge(theme, first.path()).exitCode, 0);
    ASSERT_EQ(runThemeForge(theme, second.path()).exitCode, 0);
    EXPECT_EQ(filesUnder(first.path()), filesUnder(second.path()));
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
