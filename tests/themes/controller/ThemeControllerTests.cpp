#include "app/settings/JsonDefaultsStore.h"
#include "platform/simulated/OfflineAudioOutput.h"
#include "platform/simulated/ScriptedRandom.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/SimulatedLoginItem.h"
#include "platform/simulated/VirtualTime.h"
#include "tests/themes/ThemeFolder.h"
#include "themes/controller/ThemeController.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace morvel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class ThemeControllerTest : public testing::Test {
protected:
    // A theme of every sound for the keys and the dial's loop, all of this level.
    void makeLevelTheme(const std::filesystem::path& root, std::string_view id, float level) {
        const auto folder = makeTheme(root, id, manifestWith(R"({
            "keyboard.down": {"variants": ["a.wav"]}, "keyboard.up": {"variants": ["a.wav"]},
            "fidget.dialLoop": {"variants": ["a.wav"]}})"),
                                      {});
        writeClick(folder / "a.wav", level);
    }
    // A theme of two toys' sounds, one of which opens but holds nothing to decode.
    void makeOverstatedTheme(std::string_view id) {
        const auto folder = makeTheme(user, id, manifestWith(R"({
            "fidget.pop": {"variants": ["a.wav"]}, "fidget.dialTick": {"variants": ["e.wav"]}})"),
                                      {"a.wav"});
        writeWav(folder / "e.wav", canonicalFormat, {});
    }
    std::size_t claimOf(std::string_view id) const {
        const auto found =
            std::ranges::find(themes.available(), std::string(id), &ThemeDescriptor::id);
        return found == themes.available().end() ? 0 : found->authoredCategories.size();
    }
    std::size_t lineCount(std::string_view part) const {
        return static_cast<std::size_t>(
            std::ranges::count_if(log.lines(), [part](const std::string& line) {
                return line.find(part) != std::string::npos;
            }));
    }
    // The level of a key press played now.
    float keyLevel() {
        output.render(500); // what is on its way fades out
        audio.play(SoundCategory::keyDown, 1, false);
        return peak();
    }
    float peak() {
        float result = 0;
        for (const float sample : output.render(500))
            result = std::max(result, std::abs(sample));
        return result;
    }

    TemporaryFolder temporary;
    std::filesystem::path bundled = temporary.folder("Sounds");
    std::filesystem::path user = temporary.folder("Themes");
    VirtualTime time;
    SimulatedLog log;
    ScriptedRandom random{{0}};
    OfflineAudioOutput output;
    AudioEngine audio{{output, time, time, random, log}, false};
    ThemeCatalog catalog{bundled, user, log, NameOrder(std::locale::classic())};
    ThemeController themes{{catalog, audio, random, log}};
};

class PersistingThemeControllerTest : public ThemeControllerTest {
protected:
    std::optional<std::string> stored() const { return store.stringForKey("theme.id"); }

    JsonDefaultsStore store{temporary / "settings.json", time, log};
    SimulatedLoginItem service;
    LaunchAtLogin login{service, ApplicationBundle{{}, "/srv/M.app", "app.x", {}},
                        InstallationPaths{"/home/x", "/home/x/Downloads", {"/Applications"}}, log};
    AppSettings settings{store, audio, login, log};
};

TEST_F(ThemeControllerTest, CreationNeitherScansNorLoads) {
    EXPECT_THAT(themes.available(), IsEmpty());
    EXPECT_EQ(themes.activeThemeID(), "default");
    EXPECT_EQ(themes.lastError(), std::nullopt);
    EXPECT_EQ(themes.activeTheme(), nullptr);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ThemeControllerTest, RefreshingHoldsTheCatalogueAndLogsItOnOneLine) {
    makeTheme(bundled, "default", manifestWith("{" + std::string(toyCategories) + "}"),
              {"toy.wav"});
    makeMinimalTheme(user, "mechanical");
    themes.refreshCatalog();
    EXPECT_EQ(themes.available(), catalog.discover());
    EXPECT_THAT(log.lines(), ElementsAre("[Morvel] Theme catalogue: 2 available (default[8/32], "
                                         "mechanical[24/32])"));
    EXPECT_EQ(themes.activeTheme(), nullptr);
}

TEST_F(ThemeControllerTest, RefreshingWithoutAnyThemeHoldsNone) {
    themes.refreshCatalog();
    EXPECT_THAT(log.lines(), ElementsAre("[Morvel] Theme catalogue: 0 available ()"));
}

TEST_F(ThemeControllerTest, ActivatingPlaysTheThemeAndSaysSo) {
    makeLevelTheme(bundled, "default", 0.125F);
    makeLevelTheme(user, "loud", 0.5F);
    EXPECT_TRUE(themes.activate("loud"));
    EXPECT_EQ(themes.activeThemeID(), "loud");
    ASSERT_TRUE(themes.activeTheme());
    EXPECT_EQ(themes.activeTheme()->id(), "loud");
    EXPECT_EQ(log.lines().back(),
              "[Morvel] Active theme is now 'loud' (25/32 categories authored)");
    EXPECT_EQ(keyLevel(), 0.5F);
}

TEST_F(ThemeControllerTest, ActivatingWakesASleepingOutput) {
    makeLevelTheme(bundled, "default", 0.125F);
    output.pause();
    EXPECT_TRUE(themes.activate("default"));
    EXPECT_EQ(output.state(), AudioOutputState::running);
}

TEST_F(ThemeControllerTest, ActivatingTheIDItStartsWithLoadsItSinceNoneIsLoadedYet) {
    makeLevelTheme(bundled, "default", 0.125F);
    EXPECT_TRUE(themes.activate("default"));
    EXPECT_TRUE(themes.activeTheme());
}

TEST_F(ThemeControllerTest, ActivatingTheActiveThemeDoesNothingEvenIfItsFilesHaveChanged) {
    makeLevelTheme(user, "mine", 0.25F);
    ASSERT_TRUE(themes.activate("mine"));
    const auto before = themes.activeTheme();
    makeLevelTheme(user, "mine", 0.5F);
    log.clear();
    int announced = 0;
    QObject::connect(&themes, &ThemeController::willChange, [&] { ++announced; });
    audio.startLoop(SoundCategory::dialLoop, 1, 1);
    EXPECT_TRUE(themes.activate("mine"));
    EXPECT_EQ(themes.activeTheme(), before);
    EXPECT_EQ(audio.loopCategory(), SoundCategory::dialLoop);
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_EQ(announced, 0);
    audio.stopLoop(0);
    EXPECT_EQ(keyLevel(), 0.25F);
}

TEST_F(ThemeControllerTest, AnotherThemeAndBackLoadsWhatHasChanged) {
    makeLevelTheme(bundled, "default", 0.125F);
    makeLevelTheme(user, "mine", 0.25F);
    ASSERT_TRUE(themes.activate("mine"));
    makeLevelTheme(user, "mine", 0.5F);
    ASSERT_TRUE(themes.activate("default"));
    ASSERT_TRUE(themes.activate("mine"));
    EXPECT_EQ(keyLevel(), 0.5F);
}

TEST_F(ThemeControllerTest, AThemeWithACorruptManifestIsRefusedAndTheOldOneKeepsPlaying) {
    makeLevelTheme(user, "good", 0.5F);
    ASSERT_TRUE(themes.activate("good"));
    const auto before = themes.activeTheme();
    audio.startLoop(SoundCategory::dialLoop, 1, 1);
    makeTheme(user, "broken", "{ not json", {});
    EXPECT_FALSE(themes.activate("broken"));
    ASSERT_TRUE(themes.lastError());
    EXPECT_THAT(*themes.lastError(), StartsWith("Could not load “broken”: "));
    EXPECT_EQ(lineCount("[Morvel] Could not load theme 'broken': "), 1u);
    EXPECT_EQ(lineCount(" — keeping 'good'"), 1u);
    EXPECT_EQ(themes.activeThemeID(), "good");
    EXPECT_EQ(themes.activeTheme(), before);
    EXPECT_EQ(audio.loopCategory(), SoundCategory::dialLoop) << "not even the loop is disturbed";
    audio.stopLoop(0);
    EXPECT_EQ(keyLevel(), 0.5F);
}

TEST_F(ThemeControllerTest, AThemeWhoseSoundsDoNotDecodeIsRefusedWithTheLoadersReason) {
    const auto folder =
        makeTheme(user, "mute", manifestWith(R"({"fidget.pop": {"variants": ["e.wav"]}})"), {});
    writeWav(folder / "e.wav", canonicalFormat, {});
    EXPECT_FALSE(themes.activate("mute"));
    EXPECT_EQ(themes.lastError(), "Could not load “mute”: Theme 'mute' has no category whose "
                                  "samples could be decoded");
    EXPECT_EQ(log.lines().back(),
              "[Morvel] Could not load theme 'mute': Theme 'mute' has no category whose samples "
              "could be decoded — keeping 'none'");
}

TEST_F(ThemeControllerTest, AnUnknownThemeIsRefusedAndNamesTheLoadedThemeNotTheIDToStartWith) {
    EXPECT_FALSE(themes.activate("nowhere"));
    const std::string reason =
        "No theme folder named 'nowhere' in the bundle or in " + user.native();
    EXPECT_EQ(themes.lastError(), "Could not load “nowhere”: " + reason);
    EXPECT_THAT(log.lines(), ElementsAre("[Morvel] Could not load theme 'nowhere': " + reason +
                                         " — keeping 'none'"));
    EXPECT_EQ(themes.activeThemeID(), "default");
}

TEST_F(ThemeControllerTest, AThemeFolderDeletedAfterItWasDiscoveredIsNotFound) {
    makeLevelTheme(user, "gone", 0.5F);
    themes.refreshCatalog();
    std::filesystem::remove_all(user / "gone");
    EXPECT_FALSE(themes.activate("gone"));
    EXPECT_EQ(themes.lastError(),
              "Could not load “gone”: No theme folder named 'gone' in the bundle or in " +
                  user.native());
    EXPECT_EQ(themes.available().size(), 1u) << "until the next refresh";
}

TEST_F(ThemeControllerTest, ASuccessfulActivationClearsTheErrorOfTheOneBefore) {
    makeLevelTheme(user, "good", 0.5F);
    themes.activate("nowhere");
    ASSERT_TRUE(themes.lastError());
    EXPECT_TRUE(themes.activate("good"));
    EXPECT_EQ(themes.lastError(), std::nullopt);
}

TEST_F(ThemeControllerTest, ABrokenDefaultThemeRefusesNoOther) {
    makeTheme(bundled, "default", "{ not json", {});
    makeLevelTheme(user, "good", 0.5F);
    EXPECT_TRUE(themes.activate("good"));
    EXPECT_EQ(themes.activeTheme()->fallbackTheme(), nullptr);
}

TEST_F(ThemeControllerTest, ASwitchStopsTheRunningLoopAndTheNewOneStartsOnlyWhenAskedFor) {
    makeLevelTheme(user, "old", 0.25F);
    makeLevelTheme(user, "new", 0.5F);
    ASSERT_TRUE(themes.activate("old"));
    audio.startLoop(SoundCategory::dialLoop, 1, 1);
    output.render(500);
    EXPECT_EQ(peak(), 0.25F);
    ASSERT_TRUE(themes.activate("new"));
    EXPECT_EQ(audio.loopCategory(), std::nullopt);
    output.render(500);
    EXPECT_EQ(peak(), 0);
    time.advance(10);
    EXPECT_EQ(peak(), 0);
    audio.startLoop(SoundCategory::dialLoop, 1, 1);
    EXPECT_EQ(peak(), 0.5F);
}

TEST_F(ThemeControllerTest, ASwitchCutsOffSoundsAndReportsMissingOnesAnew) {
    makeLevelTheme(user, "old", 0.25F);
    makeLevelTheme(user, "new", 0.5F);
    ASSERT_TRUE(themes.activate("old"));
    audio.play(SoundCategory::pop, 1, false);
    audio.play(SoundCategory::keyDown, 1, false);
    EXPECT_EQ(audio.activeVoiceCount(), 1);
    ASSERT_TRUE(themes.activate("new"));
    EXPECT_EQ(audio.activeVoiceCount(), 0);
    audio.play(SoundCategory::pop, 1, false);
    EXPECT_EQ(lineCount("No sample for category 'fidget.pop'"), 2u);
}

TEST_F(ThemeControllerTest, ACatalogueThatClaimsMoreThanDecodesIsCorrectedWithOneLineEachTime) {
    makeOverstatedTheme("proud");
    constexpr std::string_view correction =
        "[Morvel] Theme 'proud': catalogue claimed 2 categories, 1 actually decoded — showing the "
        "latter";
    themes.refreshCatalog();
    EXPECT_EQ(claimOf("proud"), 2u);
    ASSERT_TRUE(themes.activate("proud"));
    EXPECT_EQ(claimOf("proud"), 1u);
    EXPECT_EQ(lineCount(correction), 1u);
    themes.refreshCatalog();
    EXPECT_EQ(claimOf("proud"), 1u);
    EXPECT_EQ(lineCount(correction), 2u);
    EXPECT_EQ(log.lines().back(), "[Morvel] Theme catalogue: 1 available (proud[1/32])");
}

TEST_F(ThemeControllerTest, AnHonestCatalogueAndOneWithoutTheActiveThemeAreLeftAlone) {
    makeLevelTheme(user, "good", 0.5F);
    ASSERT_TRUE(themes.activate("good"));
    themes.refreshCatalog();
    EXPECT_EQ(claimOf("good"), 25u);
    std::filesystem::remove_all(user / "good");
    themes.refreshCatalog();
    EXPECT_THAT(themes.available(), IsEmpty());
    EXPECT_TRUE(themes.activeTheme()) << "it plays on";
    EXPECT_EQ(lineCount("catalogue claimed"), 0u);
}

TEST_F(ThemeControllerTest, AnIDThatIsPartOfTheCatalogueOutlivesTheCataloguesCorrection) {
    const std::string id = "a-name-that-is-too-long-to-be-kept-in-place";
    makeOverstatedTheme(id);
    themes.refreshCatalog();
    EXPECT_TRUE(themes.activate(themes.available().front().id));
    EXPECT_EQ(themes.activeThemeID(), id);
    EXPECT_EQ(log.lines().back(),
              "[Morvel] Active theme is now '" + id + "' (1/32 categories authored)");
}

TEST_F(ThemeControllerTest, EveryPropertyIsAnnouncedBeforeItChangesAndToldWhenAllIsInEffect) {
    makeLevelTheme(user, "good", 0.5F);
    std::vector<std::string> seen;
    const auto note = [&](const std::string& what) {
        seen.push_back(what + " " + std::to_string(themes.available().size()) + " " +
                       themes.activeThemeID() + (themes.lastError() ? " error" : ""));
    };
    using Controller = ThemeController;
    QObject::connect(&themes, &Controller::willChange, [&] { note("will"); });
    QObject::connect(&themes, &Controller::availableChanged, [&] { note("available"); });
    QObject::connect(&themes, &Controller::activeThemeIDChanged, [&] { note("id"); });
    QObject::connect(&themes, &Controller::lastErrorChanged, [&] { note("error"); });
    themes.refreshCatalog();
    EXPECT_THAT(seen, ElementsAre("will 0 default", "available 1 default"));
    seen.clear();
    themes.activate("nowhere");
    EXPECT_THAT(seen, ElementsAre("will 1 default", "error 1 default error"));
    seen.clear();
    themes.activate("good");
    EXPECT_THAT(seen, ElementsAre("will 1 default error", "will 1 good error", "id 1 good",
                                  "error 1 good"));
}

TEST_F(PersistingThemeControllerTest, AnObserverMayChooseAnotherThemeAndItsChoiceHolds) {
    makeLevelTheme(user, "first", 0.25F);
    makeLevelTheme(user, "second", 0.5F);
    QObject::connect(&themes, &ThemeController::activeThemeIDChanged, [&] {
        if (themes.activeThemeID() == "first")
            themes.activate("second", &settings);
    });
    EXPECT_TRUE(themes.activate("first", &settings));
    EXPECT_EQ(themes.activeThemeID(), "second");
    EXPECT_EQ(stored(), "second");
    EXPECT_EQ(keyLevel(), 0.5F);
}

TEST_F(PersistingThemeControllerTest, TheStoreHoldsASuccessfulChoiceAtOnce) {
    makeLevelTheme(user, "good", 0.5F);
    EXPECT_TRUE(themes.activate("good", &settings));
    EXPECT_EQ(settings.themeID(), "good");
    EXPECT_EQ(stored(), "good");
    store.flush();
    EXPECT_THAT(readText(temporary / "settings.json"), testing::HasSubstr(R"("theme.id": "good")"));
}

TEST_F(PersistingThemeControllerTest, TheStoreStillHoldsTheOldChoiceAfterARefusal) {
    makeLevelTheme(user, "good", 0.5F);
    ASSERT_TRUE(themes.activate("good", &settings));
    EXPECT_FALSE(themes.activate("nowhere", &settings));
    EXPECT_EQ(settings.themeID(), "good");
    EXPECT_EQ(stored(), "good");
}

TEST_F(PersistingThemeControllerTest, WithoutSettingsNothingIsStored) {
    makeLevelTheme(user, "good", 0.5F);
    EXPECT_TRUE(themes.activate("good"));
    EXPECT_FALSE(store.contains("theme.id"));
    EXPECT_EQ(settings.themeID(), "mechanical");
}

TEST_F(PersistingThemeControllerTest, TheActiveThemeAskedForAgainIsNotStoredEither) {
    makeLevelTheme(user, "good", 0.5F);
    ASSERT_TRUE(themes.activate("good"));
    EXPECT_TRUE(themes.activate("good", &settings));
    EXPECT_FALSE(store.contains("theme.id"));
}

} // namespace
} // namespace morvel
