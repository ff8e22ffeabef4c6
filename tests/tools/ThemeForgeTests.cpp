#include "tests/support/AudioMeasure.h"
#include "tests/support/TemporaryFolder.h"
#include "tools/themeforge/Parameters.h"
#include "tools/themeforge/ProgressBar.h"
#include "tools/themeforge/ThemeFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>

namespace morvel::forge {
namespace {

namespace fs = std::filesystem;
using measure::readBytes;
using measure::readWav;

const fs::path parameterFolder = MORVEL_SOURCE_DIR "/tools/themeforge/themes";
const fs::path shippedFolder = MORVEL_SOURCE_DIR "/resources/Sounds";

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
        display.end();
        std::fclose(stream);
        return readBytes(file);
    };
    EXPECT_EQ(shown(false), "deep: done\n");
    EXPECT_EQ(shown(true), "\r\x1b[K" + progressBar(1, 2, "deep") + "\r\x1b[K" +
                               progressBar(2, 2, "deep") + "\r\x1b[Kdeep: done\n");
}

TEST(ThemeForge, LeavesTheLineOfABarThatIsNotFullBeforeAMessage) {
    const TemporaryFolder folder;
    std::FILE* stream = std::fopen((folder / "shown").c_str(), "w");
    ProgressDisplay display(stream, true, 2);
    display.step("deep");
    display.end();
    display.end();
    std::fclose(stream);
    EXPECT_EQ(readBytes(folder / "shown"), "\r\x1b[K" + progressBar(1, 2, "deep") + "\n");
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

TEST(ThemeParameters, RefuseALevelOfAWireOrAGrainWhichWouldChangeNothing) {
    EXPECT_EQ(errorAfter(
                  [](auto& json) { json["voices"]["stabPress"]["rattle"]["wire"]["levelDb"] = 0; }),
              "voices.stabPress.rattle.wire.levelDb is not a field known here");
    EXPECT_EQ(errorAfter([](auto& json) { json["voices"]["bearing"]["grain"]["levelDb"] = 0; }),
              "voices.bearing.grain.levelDb is not a field known here");
}

TEST(ThemeParameters, RefuseABandWhoseUpperEndLiesBelowItsLower) {
    const std::string wrong = " must not lie below lowHz";
    EXPECT_EQ(
        errorAfter([](auto& json) { json["voices"]["press"]["bodies"]["cap"]["highHz"] = 1899; }),
        "voices.press.bodies.cap.highHz" + wrong);
    EXPECT_EQ(errorAfter([](auto& json) { json["voices"]["bearing"]["lowHz"] = 1901; }),
              "voices.bearing.highHz" + wrong);
    EXPECT_EQ(errorAfter([](auto& json) {
                  json["voices"]["press"]["spring"] = {
                      {"partials", 2}, {"lowHz", 500}, {"highHz", 400}, {"q", 9}, {"levelDb", 0}};
              }),
              "voices.press.spring.highHz" + wrong);
    EXPECT_EQ(
        errorAfter([](auto& json) { json["voices"]["press"]["housing"]["tailLowHz"] = 7001; }),
        "voices.press.housing.tailHighHz must not lie below tailLowHz");
    EXPECT_EQ(errorAfter([](auto& json) { json["voices"]["press"]["output"]["lowPassHz"] = 99; }),
              "voices.press.output.lowPassHz must not lie below highPassHz");
}

TEST(ThemeParameters, TheRoomIsStatedOnceAndSharedByTheSoundsThatAreInIt) {
    const auto theme = std::get<Theme>(readTheme(parameterFolder / "default.json"));
    std::map<SoundCategory, Housing> housings;
    for (const auto& sound : theme.categories)
        if (const auto* strike = std::get_if<Strike>(&sound.voice))
            housings.emplace(sound.category, strike->housing);
    const auto& ofKeys = housings.at(SoundCategory::keyDown).room;
    const auto& ofSwitches = housings.at(SoundCategory::toggleOn).room;
    ASSERT_TRUE(ofKeys && ofSwitches);
    EXPECT_EQ(ofKeys->lastMs, 15);
    EXPECT_EQ(ofSwitches->lastMs, 15);
    EXPECT_FALSE(housings.at(SoundCategory::dialTick).room);
    EXPECT_EQ(errorAfter([](auto& json) { json.erase("room"); }),
              "voices.button.housing.inRoom needs a room of the theme");
    EXPECT_EQ(errorAfter([](auto& json) { json["room"]["lastMs"] = 1; }),
              "room.lastMs must not lie before firstMs");
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

} // namespace
} // namespace morvel::forge
