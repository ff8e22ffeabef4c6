#include "platform/simulated/SimulatedLog.h"
#include "tests/themes/ThemeFolder.h"
#include "themes/ThemeCatalog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace morvel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ThemeCatalogTest : public testing::Test {
protected:
    std::vector<std::string> ids() const {
        std::vector<std::string> found;
        for (const ThemeDescriptor& theme : catalog.discover())
            found.push_back(theme.id);
        return found;
    }

    TemporaryFolder temporary;
    std::filesystem::path bundled = temporary.folder("bundle/Sounds");
    std::filesystem::path user = temporary.folder("Morvel/Themes");
    SimulatedLog log;
    ThemeCatalog catalog{bundled, user, log, NameOrder(std::locale::classic())};
};

TEST_F(ThemeCatalogTest, DescribesAThemeWithoutLoadingIt) {
    const auto folder =
        makeTheme(user, "my-theme",
                  R"({"schemaVersion": 1, "id": "other", "name": "My Theme", "author": "Me",
            "categories": {"fidget.pop": {"variants": ["pop.wav"]}}})",
                  {"pop.wav"});
    EXPECT_THAT(catalog.discover(), ElementsAre(ThemeDescriptor{"my-theme",
                                                                "My Theme",
                                                                "Me",
                                                                std::nullopt,
                                                                folder,
                                                                ThemeDescriptor::Source::user,
                                                                {SoundCategory::pop}}));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ThemeCatalogTest, HasOnlyTheBuiltInThemesByNameWhenTheUserHasNone) {
    makeMinimalTheme(bundled, "one", "Zebra");
    makeMinimalTheme(bundled, "two", "apple");
    EXPECT_THAT(ids(), ElementsAre("two", "one"));
    std::filesystem::remove(user);
    EXPECT_THAT(ids(), ElementsAre("two", "one"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ThemeCatalogTest, HasOnlyTheUsersThemesWhenThereIsNoBundle) {
    makeMinimalTheme(user, "mine");
    const ThemeCatalog withoutBundle(std::nullopt, user, log);
    EXPECT_EQ(withoutBundle.discover().size(), 1u);
    const ThemeCatalog emptyBundle(temporary.path() / "nowhere", user, log);
    EXPECT_EQ(emptyBundle.discover().size(), 1u);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ThemeCatalogTest, KeepsTheBuiltInThemeWhenAUsersFolderHasItsName) {
    const auto original = makeMinimalTheme(bundled, "default", "Default");
    const auto impostor = makeMinimalTheme(user, "default", "Better Default");
    const auto themes = catalog.discover();
    ASSERT_EQ(themes.size(), 1u);
    EXPECT_EQ(themes[0].directory, original);
    EXPECT_THAT(log.lines(), ElementsAre("[Morvel] Theme 'default' at " + impostor.native() +
                                         " ignored: id already taken by the built-in theme at " +
                                         original.native()));
}

TEST_F(ThemeCatalogTest, SkipsAFolderWithoutManifestWithOneLine) {
    std::filesystem::create_directory(user / "hollow");
    EXPECT_THAT(ids(), IsEmpty());
    EXPECT_THAT(log.lines(), ElementsAre("[Morvel] Skipping 'hollow' in " + user.native() +
                                         ": No manifest.json in hollow"));
}

TEST_F(ThemeCatalogTest, PassesOverPlainFilesAndHiddenFoldersInSilence) {
    temporary.file("Morvel/Themes/notes.txt", "not a theme");
    makeMinimalTheme(user, ".hidden");
    EXPECT_THAT(ids(), IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ThemeCatalogTest, SkipsAThemeNoneOfWhoseFilesExistAndCountsItsKeys) {
    makeTheme(user, "ghost",
              manifestWith(R"({"keyboard.down": {"variants": ["nope.wav"]}, "a": {}, "b": {}})"),
              {});
    EXPECT_THAT(ids(), IsEmpty());
    EXPECT_THAT(log.lines(),
                ElementsAre("[Morvel] Skipping theme 'ghost': no usable categories (manifest lists "
                            "3, none resolved to a file on disk)"));
}

TEST_F(ThemeCatalogTest, CountsAThemeOfTwoRootsAs24Categories) {
    makeMinimalTheme(user, "minimal");
    const auto themes = catalog.discover();
    ASSERT_EQ(themes.size(), 1u);
    EXPECT_EQ(themes[0].authoredCategories.size(), 24u);
    EXPECT_EQ(themes[0].coverageSummary(), "24 of 32 categories, 8 inherited from Default");
}

TEST_F(ThemeCatalogTest, SummarisesAWholeThemeInShort) {
    ThemeDescriptor theme;
    theme.authoredCategories.insert(allSoundCategories().begin(), allSoundCategories().end());
    EXPECT_EQ(theme.coverageSummary(), "All 32 categories");
    theme.authoredCategories.clear();
    EXPECT_EQ(theme.coverageSummary(), "0 of 32 categories, 32 inherited from Default");
}

TEST_F(ThemeCatalogTest, SortsNamesThatDifferInCaseOnlyTogether) {
    makeMinimalTheme(user, "a", "clicky");
    makeMinimalTheme(user, "b", "Beta");
    makeMinimalTheme(user, "c", "CLICKY");
    makeMinimalTheme(user, "d", "dusk");
    makeMinimalTheme(user, "e", "Élan");
    makeMinimalTheme(user, "f", "élan 2");
    EXPECT_THAT(ids(), ElementsAre("b", "a", "c", "d", "e", "f"));
}

TEST_F(ThemeCatalogTest, NeverSortsAUsersThemeBeforeABuiltInOne) {
    makeMinimalTheme(user, "first", "AAA");
    makeMinimalTheme(bundled, "last", "zzz");
    const auto themes = catalog.discover();
    ASSERT_EQ(themes.size(), 2u);
    EXPECT_EQ(themes[0].source, ThemeDescriptor::Source::bundled);
    EXPECT_EQ(themes[1].source, ThemeDescriptor::Source::user);
    EXPECT_EQ(label(themes[0].source), "Built-in");
    EXPECT_EQ(label(themes[1].source), "Installed");
}

TEST_F(ThemeCatalogTest, SkipsEveryMalformedThemeAndKeepsTheOthers) {
    makeMinimalTheme(user, "good");
    makeTheme(user, "broken", "{", {});
    makeTheme(user, "future", R"({"schemaVersion": 2, "id": "", "name": "", "categories": {}})",
              {});
    EXPECT_THAT(ids(), ElementsAre("good"));
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 2u);
    const std::string start = "[Morvel] Skipping ";
    EXPECT_THAT(lines[0], testing::StartsWith(start + "'broken' in " + user.native() +
                                              ": Could not read manifest: "));
    EXPECT_EQ(lines[1], start + "'future' in " + user.native() +
                            ": Manifest schemaVersion 2 is newer than supported version 1");
}

TEST_F(ThemeCatalogTest, FindsADescriptorByItsExactId) {
    makeMinimalTheme(user, "Mine");
    EXPECT_TRUE(catalog.descriptor("Mine"));
    EXPECT_FALSE(catalog.descriptor("mine"));
    EXPECT_FALSE(catalog.descriptor(""));
}

TEST_F(ThemeCatalogTest, ADescriptorIsTheOneThatDiscoveryFinds) {
    makeMinimalTheme(bundled, "taken");
    makeMinimalTheme(user, "taken");
    makeTheme(bundled, "broken", "{", {});
    makeMinimalTheme(user, "broken");
    for (const ThemeDescriptor& theme : catalog.discover())
        EXPECT_EQ(catalog.descriptor(theme.id), theme);
}

TEST_F(ThemeCatalogTest, LookingForOneThemeLooksIntoNoOther) {
    makeMinimalTheme(user, "wanted");
    makeTheme(user, "broken", "{", {});
    EXPECT_TRUE(catalog.descriptor("wanted"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ThemeCatalogTest, AnIdThatIsAPathIsNoTheme) {
    makeMinimalTheme(user, "wanted");
    makeMinimalTheme(user, ".hidden");
    for (const std::string& id :
         {"../" + user.filename().native() + "/wanted", std::string("."), std::string(".."),
          std::string(".hidden"), std::string("./wanted"), user.native() + "/wanted"})
        EXPECT_FALSE(catalog.descriptor(id)) << id;
}

TEST_F(ThemeCatalogTest, SeesAThemeAsSoonAsItIsThere) {
    EXPECT_FALSE(catalog.descriptor("new"));
    makeMinimalTheme(user, "new");
    EXPECT_TRUE(catalog.descriptor("new"));
    std::filesystem::remove_all(user / "new");
    EXPECT_FALSE(catalog.descriptor("new"));
}

TEST_F(ThemeCatalogTest, FollowsALinkToAThemeFolder) {
    const auto elsewhere = makeMinimalTheme(temporary.path(), "elsewhere");
    std::filesystem::create_directory_symlink(elsewhere, user / "linked");
    EXPECT_THAT(ids(), ElementsAre("linked"));
}

TEST_F(ThemeCatalogTest, CreatesTheUsersFolderOnce) {
    const auto fresh = temporary.path() / "new" / "Morvel" / "Themes";
    const ThemeCatalog first(std::nullopt, fresh, log);
    first.ensureUserThemesDirectoryExists();
    first.ensureUserThemesDirectoryExists();
    EXPECT_TRUE(std::filesystem::is_directory(fresh));
    EXPECT_THAT(log.lines(),
                ElementsAre("[Morvel] Created user themes folder at " + fresh.native()));
}

TEST_F(ThemeCatalogTest, CarriesOnWhenTheUsersFolderCannotBeCreated) {
    temporary.file("occupied", "a file");
    const auto impossible = temporary.path() / "occupied" / "Themes";
    const ThemeCatalog unlucky(bundled, impossible, log);
    unlucky.ensureUserThemesDirectoryExists();
    EXPECT_THAT(log.lines(), ElementsAre("[Morvel] Could not create user themes folder at " +
                                         impossible.native() + ": Not a directory"));
    EXPECT_THAT(unlucky.discover(), IsEmpty());
}

} // namespace
} // namespace morvel
