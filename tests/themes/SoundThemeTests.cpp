#include "platform/simulated/ScriptedRandom.h"
#include "platform/simulated/SimulatedLog.h"
#include "tests/themes/ThemeFolder.h"
#include "themes/SoundTheme.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace morvel {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class SoundThemeTest : public testing::Test {
protected:
    // The theme of this id, or null with a failure noted.
    std::shared_ptr<const SoundTheme> load(std::string_view id) {
        auto theme = SoundTheme::load(id, catalog, log, random);
        EXPECT_TRUE(theme) << theme.error().description();
        return theme ? theme.value() : nullptr;
    }
    // Loads a folder as it stands, whatever the catalogue thinks of it.
    SoundTheme::Loaded loadFolder(const std::filesystem::path& folder,
                                  std::shared_ptr<const SoundTheme> fallback = nullptr) {
        ThemeDescriptor descriptor;
        descriptor.id = folder.filename();
        descriptor.directory = folder;
        return SoundTheme::load(descriptor, std::move(fallback), log, random);
    }
    static float levelOf(const std::optional<ResolvedSample>& sample) {
        return sample ? sample->buffer->channels[0][0] : 0;
    }

    TemporaryFolder temporary;
    std::filesystem::path bundled = temporary.folder("Sounds");
    std::filesystem::path user = temporary.folder("Themes");
    SimulatedLog log;
    ScriptedRandom random{{0}};
    ThemeCatalog catalog{bundled, user, log};
};

TEST_F(SoundThemeTest, TakesItsIdFromTheFolderAndTheRestFromTheManifest) {
    makeTheme(user, "folder-name",
              R"({"schemaVersion": 1, "id": "else", "name": "Shown", "author": "Me",
                  "defaults": {"gain": 0.5, "pitchJitterCents": 10},
                  "categories": {"fidget.pop": {"variants": ["a.wav"]},
                                 "fidget.dialLoop": {"variants": ["a.wav"], "gain": 2},
                                 "fidget.dialTick": {"variants": ["a.wav"], "loop": true,
                                                     "pitchJitterCents": 3}}})",
              {"a.wav"});
    const auto theme = load("folder-name");
    ASSERT_TRUE(theme);
    EXPECT_EQ(theme->id(), "folder-name");
    EXPECT_EQ(theme->name(), "Shown");
    EXPECT_EQ(theme->author(), "Me");
    ASSERT_EQ(theme->categories().size(), 3u);
    const auto& pop = theme->categories().at(SoundCategory::pop);
    EXPECT_EQ(pop.gain, 0.5F);
    EXPECT_EQ(pop.pitchJitterCents, 10.0F);
    EXPECT_FALSE(pop.loops);
    const auto& loop = theme->categories().at(SoundCategory::dialLoop);
    EXPECT_EQ(loop.gain, 2.0F);
    EXPECT_TRUE(loop.loops);
    const auto& tick = theme->categories().at(SoundCategory::dialTick);
    EXPECT_EQ(tick.pitchJitterCents, 3.0F);
    EXPECT_TRUE(tick.loops);
}

TEST_F(SoundThemeTest, PlaysEveryKeyFromTwoRootsAndTheToysFromDefault) {
    makeTheme(bundled, "default", manifestWith("{" + std::string(toyCategories) + "}"),
              {"toy.wav"});
    makeMinimalTheme(user, "minimal");
    const auto theme = load("minimal");
    ASSERT_TRUE(theme);
    EXPECT_EQ(theme->resolutionBreakdown(), (SoundTheme::ResolutionBreakdown{2, 22, 8, 0}));
    EXPECT_EQ(theme->authoredCategories().size(), 24u);
    EXPECT_EQ(theme->authoredCategories(), catalog.descriptor("minimal")->authoredCategories);
    EXPECT_FALSE(theme->resolvesLocally(SoundCategory::pop));
    EXPECT_TRUE(theme->resolvesLocally(SoundCategory::enterUp));
    for (const SoundCategory category : allSoundCategories())
        EXPECT_TRUE(theme->sample(category)) << rawValue(category);
    EXPECT_THAT(log.lines(),
                ElementsAre("[Morvel] Theme 'default' loaded: 8/32 categories authored, 8 samples "
                            "preloaded (0 via keyboard.down/up in-theme, 0 inherited from Default, "
                            "24 unresolved)",
                            "[Morvel] Theme 'minimal' loaded: 2/32 categories authored, 2 samples "
                            "preloaded (22 via keyboard.down/up in-theme, 8 inherited from "
                            "Default, 0 unresolved)"));
}

TEST_F(SoundThemeTest, TellsOfEachCategoryWhereItsSoundComesFrom) {
    using Resolution = SoundTheme::Resolution;
    makeTheme(bundled, "default", manifestWith(R"({"fidget.pop": {"variants": ["toy.wav"]}})"),
              {"toy.wav"});
    makeMinimalTheme(user, "minimal");
    const auto theme = load("minimal");
    ASSERT_TRUE(theme);
    EXPECT_EQ(theme->resolution(SoundCategory::keyUp), Resolution::exact);
    EXPECT_EQ(theme->resolution(SoundCategory::tabUp), Resolution::viaRoot);
    EXPECT_EQ(theme->resolution(SoundCategory::pop), Resolution::inherited);
    EXPECT_EQ(theme->resolution(SoundCategory::popReset), Resolution::unresolved);
}

TEST_F(SoundThemeTest, GivesTheDefaultThemeNoFallback) {
    makeMinimalTheme(bundled, "default");
    const auto theme = load("default");
    ASSERT_TRUE(theme);
    EXPECT_EQ(theme->fallbackTheme(), nullptr);
    EXPECT_EQ(theme->resolutionBreakdown(), (SoundTheme::ResolutionBreakdown{2, 22, 0, 8}));
    EXPECT_EQ(theme->sample(SoundCategory::pop), std::nullopt);
}

TEST_F(SoundThemeTest, LoadsWithoutAFallbackWhenDefaultIsMissingOrBroken) {
    makeMinimalTheme(user, "minimal");
    const auto alone = load("minimal");
    ASSERT_TRUE(alone);
    EXPECT_EQ(alone->fallbackTheme(), nullptr);
    EXPECT_EQ(alone->resolutionBreakdown().unresolved, 8);

    // It opens, so that the catalogue has it, but holds nothing to decode.
    makeTheme(bundled, "default", manifestWith(R"({"fidget.pop": {"variants": ["e.wav"]}})"), {});
    writeWav(bundled / "default" / "e.wav", canonicalFormat, {});
    const auto still = load("minimal");
    ASSERT_TRUE(still);
    EXPECT_EQ(still->fallbackTheme(), nullptr);
}

TEST_F(SoundThemeTest, KeepsOfDefaultOnlyWhatTheThemeCannotAnswerItself) {
    makeTheme(bundled, "default",
              manifestWith(R"({"keyboard.down": {"variants": ["toy.wav"]},
                               "keyboard.up": {"variants": ["toy.wav"]},
                               "keyboard.tab.up": {"variants": ["toy.wav"], "gain": 0.5},
                               "keyboard.tab.down": {"variants": ["toy.wav"]}, )" +
                           std::string(toyCategories) + "}"),
              {"toy.wav"});
    makeTheme(user, "presses", manifestWith(R"({"keyboard.down": {"variants": ["down.wav"]},
                                                "fidget.pop": {"variants": ["down.wav"]}})"),
              {"down.wav"});
    const auto theme = load("presses");
    ASSERT_TRUE(theme);
    ASSERT_TRUE(theme->fallbackTheme());
    EXPECT_EQ(theme->fallbackTheme()->id(), "default");
    const auto& kept = theme->fallbackTheme()->categories();
    EXPECT_FALSE(kept.contains(SoundCategory::keyDown));
    EXPECT_FALSE(kept.contains(SoundCategory::tabDown));
    EXPECT_FALSE(kept.contains(SoundCategory::pop));
    EXPECT_TRUE(kept.contains(SoundCategory::keyUp));
    EXPECT_TRUE(kept.contains(SoundCategory::tabUp));
    EXPECT_EQ(kept.size(), 9u);
    EXPECT_EQ(theme->sample(SoundCategory::tabUp)->gain, 0.5F);
    EXPECT_EQ(theme->sample(SoundCategory::enterUp)->gain, 1.0F); // by the root of Default
    EXPECT_EQ(theme->resolutionBreakdown(), (SoundTheme::ResolutionBreakdown{2, 11, 19, 0}));
    EXPECT_EQ(log.lines().front(),
              "[Morvel] Theme 'default' loaded: 12/32 categories authored, 12 samples preloaded "
              "(20 via keyboard.down/up in-theme, 0 inherited from Default, 0 unresolved)");
}

TEST_F(SoundThemeTest, KeepsNothingOfDefaultForAThemeThatHasEverything) {
    makeTheme(bundled, "default", manifestWith("{" + std::string(toyCategories) + "}"),
              {"toy.wav"});
    makeTheme(user, "full",
              manifestWith(R"({"keyboard.down": {"variants": ["toy.wav"]},
                               "keyboard.up": {"variants": ["toy.wav"]}, )" +
                           std::string(toyCategories) + "}"),
              {"toy.wav"});
    const auto theme = load("full");
    ASSERT_TRUE(theme);
    ASSERT_TRUE(theme->fallbackTheme());
    EXPECT_EQ(theme->fallbackTheme()->id(), "default");
    EXPECT_THAT(theme->fallbackTheme()->categories(), IsEmpty());
}

TEST_F(SoundThemeTest, LeavesAFallbackThatItWasGivenAsItIs) {
    const auto fallback = loadFolder(makeMinimalTheme(bundled, "default"));
    ASSERT_TRUE(fallback);
    const auto theme = loadFolder(makeMinimalTheme(user, "minimal"), fallback.value());
    ASSERT_TRUE(theme);
    EXPECT_EQ(theme.value()->fallbackTheme(), fallback.value());
    EXPECT_EQ(fallback.value()->categories().size(), 2u);
}

TEST_F(SoundThemeTest, LoadsALegacyManifestByItsRetiredNames) {
    makeTheme(user, "legacy", manifestWith(R"({"keyboard.down": {"variants": ["down.wav"]},
                               "keyboard.stabDown": {"variants": ["stab.wav"]}})"),
              {"down.wav", "stab.wav"});
    const auto theme = load("legacy");
    ASSERT_TRUE(theme);
    EXPECT_TRUE(theme->categories().contains(SoundCategory::spaceDown));
    EXPECT_THAT(log.lines(),
                Contains("[Morvel] Theme 'legacy': category 'keyboard.stabDown' is deprecated — "
                         "loading it as 'keyboard.space.down'. Update the manifest; the alias may "
                         "be removed in a future version."));
}

TEST_F(SoundThemeTest, KeepsAnExplicitCategoryOverItsRetiredName) {
    const auto folder =
        makeTheme(user, "both", manifestWith(R"({"keyboard.stabDown": {"variants": ["stab.wav"]},
                         "keyboard.space.down": {"variants": ["space.wav"]}})"),
                  {});
    writeClick(folder / "stab.wav", 0.1F);
    writeClick(folder / "space.wav", 0.2F);
    const auto theme = load("both");
    ASSERT_TRUE(theme);
    EXPECT_EQ(levelOf(theme->sample(SoundCategory::spaceDown)), 0.2F);
    EXPECT_THAT(log.lines(),
                Contains("[Morvel] Theme 'both': ignoring deprecated 'keyboard.stabDown' — "
                         "'keyboard.space.down' is already defined explicitly"));
}

TEST_F(SoundThemeTest, UsesTheRetiredNameWhenTheExplicitCategoryLoadsNothing) {
    const auto folder =
        makeTheme(user, "half", manifestWith(R"({"keyboard.space.down": {"variants": ["gone.wav"]},
                         "keyboard.stabDown": {"variants": ["stab.wav"]}})"),
                  {"stab.wav"});
    const auto theme = loadFolder(folder);
    ASSERT_TRUE(theme);
    EXPECT_TRUE(theme.value()->categories().contains(SoundCategory::spaceDown));
}

TEST_F(SoundThemeTest, LogsUnknownEmptyIllegalAndMissingThingsAndGoesOn) {
    const auto folder =
        makeTheme(user, "odd", manifestWith(R"({"keyboard.nope": {"variants": ["a.wav"]},
                         "fidget.pop": {}, "fidget.popReset": {"variants": []},
                         "keyboard.down": {"variants": ["../a.wav", "", "gone.wav", "a.wav"]}})"),
                  {"a.wav"});
    const auto theme = loadFolder(folder);
    ASSERT_TRUE(theme);
    EXPECT_EQ(theme.value()->categories().at(SoundCategory::keyDown).buffers.size(), 1u);
    EXPECT_THAT(
        log.lines(),
        testing::UnorderedElementsAre(
            "[Morvel] Theme 'odd': ignoring unknown category 'keyboard.nope'",
            "[Morvel] Theme 'odd': category 'fidget.pop' lists no variants",
            "[Morvel] Theme 'odd': category 'fidget.popReset' lists no variants",
            "[Morvel] Theme 'odd': refusing illegal variant filename '../a.wav'",
            "[Morvel] Theme 'odd': refusing illegal variant filename ''",
            "[Morvel] Theme 'odd': could not load 'gone.wav': No such file or directory",
            "[Morvel] Theme 'odd' loaded: 1/32 categories authored, 1 samples preloaded (11 via "
            "keyboard.down/up in-theme, 0 inherited from Default, 20 unresolved)"));
}

TEST_F(SoundThemeTest, RefusesAThemeThatOnlyTriesToLeaveItsFolder) {
    const auto folder = makeTheme(
        user, "escape",
        manifestWith(R"({"keyboard.down": {"variants": ["../../../../etc/passwd"]}})"), {});
    const auto theme = loadFolder(folder);
    ASSERT_FALSE(theme);
    EXPECT_EQ(theme.error(),
              SoundTheme::LoadError{SoundTheme::LoadError::NoPlayableCategories{"escape"}});
    EXPECT_EQ(theme.error().description(),
              "Theme 'escape' has no category whose samples could be decoded");
    EXPECT_THAT(log.lines(), ElementsAre("[Morvel] Theme 'escape': refusing illegal variant "
                                         "filename '../../../../etc/passwd'"));
}

TEST_F(SoundThemeTest, RefusesAThemeWhoseOnlyFileIsMissing) {
    const auto folder = makeTheme(
        user, "ghost", manifestWith(R"({"keyboard.down": {"variants": ["nope.wav"]}})"), {});
    const auto theme = loadFolder(folder);
    ASSERT_FALSE(theme);
    EXPECT_EQ(theme.error().description(),
              "Theme 'ghost' has no category whose samples could be decoded");
    EXPECT_THAT(log.lines(), ElementsAre("[Morvel] Theme 'ghost': could not load 'nope.wav': No "
                                         "such file or directory"));
}

TEST_F(SoundThemeTest, PassesAManifestsErrorOn) {
    const auto missing = loadFolder(temporary.folder("Themes/hollow"));
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().description(), "No manifest.json in hollow");
    const auto broken = loadFolder(makeTheme(user, "broken", "{", {}));
    ASSERT_FALSE(broken);
    EXPECT_THAT(broken.error().description(), testing::StartsWith("Could not read manifest: "));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(SoundThemeTest, NamesAnUnknownThemeAndTheUsersFolder) {
    const auto theme = SoundTheme::load("nobody", catalog, log, random);
    ASSERT_FALSE(theme);
    EXPECT_EQ(theme.error().description(),
              "No theme folder named 'nobody' in the bundle or in " + user.native());
}

TEST_F(SoundThemeTest, TreatsACategoryWhoseEveryVariantFailsAsUnauthored) {
    const auto fallback = loadFolder(
        makeTheme(bundled, "default", manifestWith(R"({"fidget.pop": {"variants": ["pop.wav"]}})"),
                  {"pop.wav"}));
    ASSERT_TRUE(fallback);
    const auto folder =
        makeTheme(user, "partly", manifestWith(R"({"keyboard.down": {"variants": ["down.wav"]},
                         "keyboard.tab.down": {"variants": ["gone.wav", "gone-too.wav"]},
                         "fidget.pop": {"variants": ["gone.wav"]}})"),
                  {});
    writeClick(folder / "down.wav", 0.1F);
    const auto theme = loadFolder(folder, fallback.value());
    ASSERT_TRUE(theme);
    EXPECT_FALSE(theme.value()->categories().contains(SoundCategory::tabDown));
    EXPECT_EQ(levelOf(theme.value()->sample(SoundCategory::tabDown)), 0.1F);
    EXPECT_EQ(levelOf(theme.value()->sample(SoundCategory::pop)), 0.25F);
    EXPECT_EQ(theme.value()->sample(SoundCategory::tabUp), std::nullopt);
}

TEST_F(SoundThemeTest, ChoosesAmongTheVariantsAtRandomWithTheDonorsValues) {
    const auto folder = makeTheme(
        user, "many",
        manifestWith(R"({"keyboard.up": {"variants": ["a.wav", "b.wav", "c.wav"], "gain": 0.7,
                                         "pitchJitterCents": 5}})"),
        {});
    writeClick(folder / "a.wav", 0.1F);
    writeClick(folder / "b.wav", 0.2F);
    writeClick(folder / "c.wav", 0.3F);
    ScriptedRandom draws({2, 0, 1, 9});
    ThemeDescriptor descriptor;
    descriptor.directory = folder;
    const auto theme = SoundTheme::load(descriptor, nullptr, log, draws);
    ASSERT_TRUE(theme);
    const auto root = theme.value()->sample(SoundCategory::keyUp);
    EXPECT_EQ(levelOf(root), 0.3F);
    EXPECT_EQ(root->gain, 0.7F);
    const auto key = theme.value()->sample(SoundCategory::escapeUp);
    EXPECT_EQ(levelOf(key), 0.1F);
    EXPECT_EQ(key->gain, 0.7F);
    EXPECT_EQ(key->pitchJitterCents, 5.0F);
    EXPECT_EQ(levelOf(theme.value()->sample(SoundCategory::keyUp)), 0.2F);
    EXPECT_EQ(levelOf(theme.value()->sample(SoundCategory::keyUp)), 0.3F); // never beyond the last
}

TEST_F(SoundThemeTest, PrefersItsOwnRootToTheFallbacksExactCategory) {
    const auto fallback = loadFolder(makeTheme(
        bundled, "default", manifestWith(R"({"keyboard.tab.down": {"variants": ["tab.wav"]},
                                             "keyboard.up": {"variants": ["up.wav"]}})"),
        {"tab.wav", "up.wav"}));
    ASSERT_TRUE(fallback);
    const auto folder = makeTheme(
        user, "own", manifestWith(R"({"keyboard.down": {"variants": ["down.wav"]}})"), {});
    writeClick(folder / "down.wav", 0.1F);
    const auto theme = loadFolder(folder, fallback.value());
    ASSERT_TRUE(theme);
    EXPECT_EQ(levelOf(theme.value()->sample(SoundCategory::tabDown)), 0.1F);
    EXPECT_EQ(levelOf(theme.value()->sample(SoundCategory::tabUp)), 0.25F); // Default's own root
    EXPECT_EQ(theme.value()->resolutionBreakdown(),
              (SoundTheme::ResolutionBreakdown{1, 11, 12, 8}));
}

TEST_F(SoundThemeTest, SharesTheBufferOfAFileListedTwice) {
    const auto folder =
        makeTheme(user, "twice", manifestWith(R"({"fidget.pop": {"variants": ["a.wav", "a.wav"]},
                                                  "fidget.popReset": {"variants": ["a.wav"]}})"),
                  {"a.wav"});
    const auto theme = loadFolder(folder);
    ASSERT_TRUE(theme);
    const auto& pop = theme.value()->categories().at(SoundCategory::pop);
    const auto& reset = theme.value()->categories().at(SoundCategory::popReset);
    ASSERT_EQ(pop.buffers.size(), 2u);
    EXPECT_EQ(pop.buffers[0], pop.buffers[1]);
    EXPECT_EQ(pop.buffers[0], reset.buffers[0]);
    EXPECT_THAT(log.lines(), Contains(testing::HasSubstr(" 3 samples preloaded ")));
}

TEST_F(SoundThemeTest, UsesACanonicalFileAsReadAndConvertsAnyOther) {
    const auto file = temporary.path() / "sound.wav";
    writeWav(file, canonicalFormat, {0.1F, 0.2F, 0.3F, 0.4F});
    const auto asRead = SoundTheme::loadBuffer(file);
    ASSERT_TRUE(asRead);
    EXPECT_EQ(asRead.value()->channels[0], (std::vector<float>{0.1F, 0.3F}));
    EXPECT_EQ(asRead.value()->channels[1], (std::vector<float>{0.2F, 0.4F}));

    writeWav(file, {48000, 1}, sine({48000, 1}, 4800));
    const auto converted = SoundTheme::loadBuffer(file);
    ASSERT_TRUE(converted);
    EXPECT_NEAR(static_cast<double>(converted.value()->frameLength()), 4410, 1);
    EXPECT_EQ(converted.value()->channels[0], converted.value()->channels[1]);
}

TEST_F(SoundThemeTest, RefusesAFileOfNoFramesOrNoBytesByItsName) {
    const std::string expected = "Could not read manifest: empty or unreadable audio: click.wav";
    const auto file = temporary.path() / "click.wav";
    writeWav(file, canonicalFormat, {});
    const auto noFrames = SoundTheme::loadBuffer(file);
    ASSERT_FALSE(noFrames);
    EXPECT_EQ(noFrames.error().description(), expected);
    temporary.file("click.wav", "");
    const auto noBytes = SoundTheme::loadBuffer(file);
    ASSERT_FALSE(noBytes);
    EXPECT_EQ(noBytes.error().description(), expected);
}

TEST_F(SoundThemeTest, NamesAFileThatCannotBeConverted) {
    const auto file = temporary.path() / "click.wav";
    writeWav(file, {500, 1}, std::vector<float>(100, 0.5F));
    const auto tooSlow = SoundTheme::loadBuffer(file);
    ASSERT_FALSE(tooSlow);
    EXPECT_EQ(tooSlow.error().description(), "Could not read manifest: no converter for click.wav");
    writeWav(file, {768000, 1}, {0.5F});
    const auto tooShort = SoundTheme::loadBuffer(file);
    ASSERT_FALSE(tooShort);
    EXPECT_THAT(tooShort.error().description(),
                testing::StartsWith("Could not read manifest: conversion failed for click.wav: "));
}

} // namespace
} // namespace morvel
