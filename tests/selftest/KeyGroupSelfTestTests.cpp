#include "platform/simulated/OfflineAudioOutput.h"
#include "platform/simulated/ScriptedRandom.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/VirtualTime.h"
#include "selftest/KeyGroupSelfTest.h"
#include "selftest/keygroup/VocabularyChecks.h"
#include "tests/themes/ThemeFolder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <map>
#include <optional>

namespace morvel {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace fs = std::filesystem;
using enum SoundCategory;
using Categories = std::vector<SoundCategory>;

Categories everyCategory() {
    return {allSoundCategories().begin(), allSoundCategories().end()};
}

Categories without(Categories categories, std::initializer_list<SoundCategory> some) {
    std::erase_if(categories, [&](SoundCategory category) {
        return std::ranges::find(some, category) != some.end();
    });
    return categories;
}

// What the Default theme has of its own: nothing for the groups whose keys are as any other.
Categories plainCategories() {
    return without(everyCategory(),
                   {alphaDown, alphaUp, tabDown, tabUp, capsLockDown, capsLockUp, commandDown,
                    commandUp, optionDown, optionUp, controlDown, controlUp, escapeDown, escapeUp});
}

// A theme with one sound for each of `categories`, named after it.
void makeThemeOf(const fs::path& root, std::string_view id, std::string_view name,
                 const Categories& categories) {
    std::string entries;
    std::vector<std::string> files;
    for (const SoundCategory category : categories) {
        std::string file(rawValue(category));
        std::ranges::replace(file, '.', '-');
        files.push_back(file + "-1.wav");
        entries += (entries.empty() ? "\"" : ", \"") + std::string(rawValue(category)) +
                   R"(": {"variants": [")" + files.back() + R"("]})";
    }
    makeTheme(root, id, manifestWith("{" + entries + "}", name), files);
}

// Every file below `folder`, with what is in it.
std::map<std::string, std::string> contentOf(const fs::path& folder) {
    std::map<std::string, std::string> content;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        content[entry.path().string()] = entry.is_regular_file() ? readText(entry.path()) : "";
    return content;
}

// The names of the failed checks; they and their number are in the last line.
std::vector<std::string> failuresIn(const SimulatedLog& log) {
    const std::string mark = "[FAIL] ";
    std::vector<std::string> names;
    std::string list;
    for (const std::string& line : log.lines())
        if (const auto at = line.find(mark); at != std::string::npos) {
            const auto name = line.substr(at + mark.size());
            names.push_back(name.substr(0, name.find(" — ")));
            list += (list.empty() ? ": " : ", ") + names.back();
        }
    EXPECT_EQ(log.lines().back(), "[Morvel] KEYGROUPTEST complete — " +
                                      std::to_string(names.size()) + " failure(s)" + list);
    return names;
}

class KeyGroupSelfTestTest : public testing::Test {
protected:
    KeyGroupSelfTestTest() {
        makeThemeOf(bundled, "default", "Default", plainCategories());
        makeThemeOf(bundled, "mechanical", "Mechanical", everyCategory());
    }

    // Runs it as a program does that has just been launched.
    void run(const Vocabulary& vocabulary = {}) {
        catalog.emplace(bundled, user, log, NameOrder(std::locale::classic()));
        themes.emplace(ThemeController::Services{*catalog, audio, random, log});
        themes->refreshCatalog();
        themes->activate("mechanical");
        log.clear();
        KeyGroupSelfTest({*catalog, random, log}, vocabulary).run(*themes);
    }
    std::vector<std::string> lines() const {
        std::vector<std::string> result;
        for (const std::string& line : log.lines())
            if (line.find("KEYGROUPTEST") != std::string::npos)
                result.push_back(line);
        return result;
    }
    std::vector<std::string> failures() const { return failuresIn(log); }
    std::string resultOf(const std::string& check) const {
        for (const std::string& line : lines())
            if (line.find("] " + check) != std::string::npos)
                return line;
        return {};
    }

    TemporaryFolder temporary;
    fs::path bundled = temporary.folder("Sounds");
    fs::path user = temporary.folder("Themes");
    VirtualTime time;
    SimulatedLog log;
    ScriptedRandom random{{0}};
    OfflineAudioOutput output;
    AudioEngine audio{{output, time, time, random, log}, false};
    std::optional<ThemeCatalog> catalog;
    std::optional<ThemeController> themes;
};

TEST_F(KeyGroupSelfTestTest, TheWholeRunOfASoundProgramIsLoggedLineByLine) {
    run();
    EXPECT_THAT(failures(), IsEmpty());
    std::vector<std::string> expected = {"[Morvel] KEYGROUPTEST starting"};
    const auto pass = [&](const std::string& name) {
        expected.push_back("[Morvel] KEYGROUPTEST   [PASS] " + name);
    };
    pass("32 categories total");
    pass("24 keyboard categories");
    pass("8 fidget categories");
    pass("11 key groups");
    pass("every group maps to a distinct down/up pair");
    pass("root categories have no group and no in-theme fallback");
    pass("every group category falls back to the matching root — 22 group categories");
    pass("no fidget category has an in-theme fallback");
    pass("stabDown/stabUp raw values are gone from the enum");

    pass("every keycode 0-127 routes to a group");
    pass("all 11 reachable");
    pass("no key group is orphaned");
    pass("named keycodes route to the right group");
    pass("unmapped keys route to alpha, not to a group without audio");

    for (const std::string group : {"control", "shift", "command", "option"})
        for (const auto& [side, other] :
             {std::pair<std::string, std::string>{"left ", "right "}, {"right ", "left "}}) {
            pass(side + group + " pressed -> " + group + ".down");
            pass(side + group + " released -> " + group + ".up");
            pass(side + group + " pressed while " + other + group + " is held -> " + group +
                 ".down");
            pass(side + group + " released while " + other + group + " is held -> " + group +
                 ".up");
        }
    pass("caps lock on -> capsLock.down");
    pass("caps lock off -> capsLock.up");
    pass("fn pressed -> alpha.down");
    pass("fn released -> alpha.up");
    pass("flags of an ordinary key -> (silent)");
    pass("flags of an unknown key -> (silent)");

    expected.emplace_back(
        "[Morvel] KEYGROUPTEST   Default: exact=18 viaRoot=14 inherited=0 unresolved=0");
    pass("Default: all 36 categories resolve");
    expected.emplace_back(
        "[Morvel] KEYGROUPTEST   Mechanical: exact=32 viaRoot=0 inherited=0 unresolved=0");
    pass("Mechanical: all 36 categories resolve");
    pass("mechanical authors all 24 keyboard categories exactly");
    pass("default resolves capsLock via its own keyboard.down");
    pass("default authors the stabilised groups from its stab samples");

    pass("minimal theme loads");
    pass("minimal theme sounds on every keyboard category");
    pass("minimal theme resolves all 24 locally, not from Default");
    pass("minimal breakdown: 2 exact, 22 via root");
    pass("minimal theme appears in the picker");
    pass("picker counts in-theme fallback as authored");
    pass("picker reports only the 8 fidget slots as inherited");

    pass("aliases map to the space group");
    pass("resolveManifestKey reports the deprecation");
    pass("current names resolve without a deprecation flag");
    pass("legacy theme loads");
    pass("legacy stabDown loaded as keyboard.space.down");
    pass("legacy theme still sounds on every keyboard category");
    pass("legacy theme's other groups fall back in-theme");
    expected.emplace_back("[Morvel] KEYGROUPTEST complete — 0 failure(s)");
    EXPECT_EQ(lines(), expected);
}

TEST_F(KeyGroupSelfTestTest, LeavesTheUsersThemesAndThePickerAndTheActiveThemeAsTheyWere) {
    // Folders of the user's that have the names which the test would like.
    makeMinimalTheme(user, "selftest-minimal", "My own");
    temporary.file("Themes/selftest-legacy", "a file");
    const auto before = contentOf(temporary.path());
    run();
    EXPECT_THAT(failures(), IsEmpty());
    EXPECT_EQ(contentOf(temporary.path()), before);
    std::vector<std::string> shown;
    for (const ThemeDescriptor& theme : themes->available())
        shown.push_back(theme.id);
    EXPECT_THAT(shown, ElementsAre("default", "mechanical", "selftest-minimal"));
    EXPECT_EQ(themes->activeThemeID(), "mechanical");
    EXPECT_EQ(resultOf("My own: all 36"),
              "[Morvel] KEYGROUPTEST   [PASS] My own: all 36 categories resolve");
}

TEST_F(KeyGroupSelfTestTest, AThemeWithoutAReleaseSoundThatNothingStandsInForIsUnresolved) {
    makeThemeOf(bundled, "default", "Default", without(plainCategories(), {keyUp}));
    makeThemeOf(bundled, "mechanical", "Mechanical", without(everyCategory(), {keyUp, tabUp}));
    run();
    EXPECT_THAT(lines(),
                Contains("[Morvel] KEYGROUPTEST   Mechanical: exact=30 viaRoot=0 inherited=0 "
                         "unresolved=2"));
    EXPECT_EQ(resultOf("Mechanical: all 36"),
              "[Morvel] KEYGROUPTEST   [FAIL] Mechanical: all 36 categories resolve — not "
              "keyboard.up, keyboard.tab.up");
    EXPECT_EQ(resultOf("mechanical authors"),
              "[Morvel] KEYGROUPTEST   [FAIL] mechanical authors all 24 keyboard categories "
              "exactly — not keyboard.up, keyboard.tab.up");
    EXPECT_THAT(failures(), ElementsAre("Default: all 36 categories resolve",
                                        "Mechanical: all 36 categories resolve",
                                        "mechanical authors all 24 keyboard categories exactly",
                                        "legacy theme still sounds on every keyboard category"));
}

TEST_F(KeyGroupSelfTestTest, AThemeThatThePickerShowsButThatDoesNotLoadFails) {
    const fs::path folder =
        makeTheme(user, "hollow", manifestWith(minimalCategories, "Hollow"), {});
    writeWav(folder / "keyboard-down-1.wav", canonicalFormat, {}); // opens, and holds nothing
    run();
    EXPECT_EQ(resultOf("Hollow: all 36"),
              "[Morvel] KEYGROUPTEST   [FAIL] Hollow: all 36 categories resolve — Theme 'hollow' "
              "has no category whose samples could be decoded");
    EXPECT_THAT(failures(), ElementsAre("Hollow: all 36 categories resolve"));
}

TEST_F(KeyGroupSelfTestTest, ACatalogueWithoutMechanicalFails) {
    fs::remove_all(bundled / "mechanical");
    run();
    EXPECT_THAT(resultOf("mechanical authors"), HasSubstr("No theme folder named 'mechanical'"));
    EXPECT_THAT(resultOf("minimal theme loads"), HasSubstr("[FAIL] minimal theme loads — "
                                                           "keyboard-down-1.wav: No such file"));
    EXPECT_THAT(failures(),
                ElementsAre("mechanical authors all 24 keyboard categories exactly",
                            "minimal theme loads",
                            "minimal theme sounds on every keyboard category",
                            "minimal theme resolves all 24 locally, not from Default",
                            "minimal breakdown: 2 exact, 22 via root",
                            "minimal theme appears in the picker",
                            "picker counts in-theme fallback as authored",
                            "picker reports only the 8 fidget slots as inherited",
                            "legacy theme loads", "legacy stabDown loaded as keyboard.space.down",
                            "legacy theme still sounds on every keyboard category",
                            "legacy theme's other groups fall back in-theme"));
    EXPECT_TRUE(fs::is_empty(user)) << "half a theme";
}

TEST_F(KeyGroupSelfTestTest, ACatalogueWithoutDefaultFails) {
    fs::remove_all(bundled / "default");
    makeMinimalTheme(user, "small", "Small");
    run();
    EXPECT_THAT(lines(), Contains("[Morvel] KEYGROUPTEST   Small: exact=2 viaRoot=22 inherited=0 "
                                  "unresolved=8"));
    EXPECT_THAT(failures(),
                ElementsAre("Small: all 36 categories resolve",
                            "default resolves capsLock via its own keyboard.down",
                            "default authors the stabilised groups from its stab samples",
                            "legacy theme still sounds on every keyboard category"));
}

TEST_F(KeyGroupSelfTestTest, ADefaultWithACapsLockOfItsOwnFails) {
    Categories categories = plainCategories();
    categories.push_back(capsLockDown);
    makeThemeOf(bundled, "default", "Default", categories);
    run();
    EXPECT_THAT(failures(), ElementsAre("default resolves capsLock via its own keyboard.down"));
}

TEST_F(KeyGroupSelfTestTest, ADefaultWithoutStabilisedSoundsFails) {
    makeThemeOf(bundled, "default", "Default", without(plainCategories(), {enterUp}));
    run();
    EXPECT_EQ(resultOf("default authors"),
              "[Morvel] KEYGROUPTEST   [FAIL] default authors the stabilised groups from its stab "
              "samples — not keyboard.enter.up");
    EXPECT_THAT(failures(),
                ElementsAre("default authors the stabilised groups from its stab samples"));
}

TEST_F(KeyGroupSelfTestTest, AUserFolderThatCannotBeWrittenFails) {
    user = temporary.file("no-folder", "") / "Themes";
    run();
    EXPECT_THAT(resultOf("minimal theme loads"), HasSubstr(" — Not a directory"));
    EXPECT_THAT(resultOf("legacy theme loads"), HasSubstr(" — Not a directory"));
    EXPECT_THAT(failures(),
                ElementsAre("minimal theme loads",
                            "minimal theme sounds on every keyboard category",
                            "minimal theme resolves all 24 locally, not from Default",
                            "minimal breakdown: 2 exact, 22 via root",
                            "minimal theme appears in the picker",
                            "picker counts in-theme fallback as authored",
                            "picker reports only the 8 fidget slots as inherited",
                            "legacy theme loads", "legacy stabDown loaded as keyboard.space.down",
                            "legacy theme still sounds on every keyboard category",
                            "legacy theme's other groups fall back in-theme"));
}

TEST_F(KeyGroupSelfTestTest, APickerOfAnotherFolderFails) {
    catalog.emplace(bundled, user, log, NameOrder(std::locale::classic()));
    const ThemeCatalog other(bundled, temporary.folder("Others"), log,
                             NameOrder(std::locale::classic()));
    themes.emplace(ThemeController::Services{other, audio, random, log});
    KeyGroupSelfTest({*catalog, random, log}).run(*themes);
    EXPECT_EQ(failures(),
              (std::vector<std::string>{"minimal theme appears in the picker",
                                        "picker counts in-theme fallback as authored",
                                        "picker reports only the 8 fidget slots as inherited"}));
}

// A check of the vocabulary, and what makes it fail.
struct Breakage {
    std::string check;
    std::string fault;
    std::function<void(Vocabulary&)> breakIt;
};

void PrintTo(const Breakage& breakage, std::ostream* out) {
    *out << breakage.check << " - " << breakage.fault;
}

class BrokenVocabularyTest : public testing::TestWithParam<Breakage> {};

TEST_P(BrokenVocabularyTest, FailsTheCheckThatIsAboutIt) {
    Vocabulary vocabulary;
    GetParam().breakIt(vocabulary);
    SimulatedLog log;
    CheckList checks("KEYGROUPTEST", log);
    checks.start();
    checkSchema(checks, vocabulary);
    checkKeyCodeCoverage(checks, vocabulary);
    checkModifierSides(checks, vocabulary);
    checkAliases(checks, vocabulary);
    checks.complete();
    EXPECT_THAT(failuresIn(log), Contains(GetParam().check));
}

// Hears `heard` where the program hears something else.
std::function<void(Vocabulary&)> mishearing(std::uint32_t type, std::int64_t keyCode,
                                            std::optional<SoundCategory> heard) {
    return [=](Vocabulary& vocabulary) {
        vocabulary.classify = [=](std::uint32_t t, std::int64_t code, std::uint64_t flags) {
            return t == type && code == keyCode ? heard : classify(t, code, flags);
        };
    };
}

std::function<void(Vocabulary&)> withFallback(SoundCategory category,
                                              std::optional<SoundCategory> fallback) {
    return [=](Vocabulary& vocabulary) {
        vocabulary.inThemeFallback = [=](SoundCategory asked) {
            return asked == category ? fallback : inThemeFallback(asked);
        };
    };
}

const Breakage breakages[] = {
    {"32 categories total", "one missing", [](Vocabulary& v) { v.categories.pop_back(); }},
    {"8 fidget categories", "the last missing", [](Vocabulary& v) { v.categories.pop_back(); }},
    {"24 keyboard categories", "a toy's among them",
     [](Vocabulary& v) {
         v.module = [](SoundCategory category) {
             return category == keyUp ? SoundModule::fidget : module(category);
         };
     }},
    {"11 key groups", "one missing", [](Vocabulary& v) { v.groups.pop_back(); }},
    {"every group maps to a distinct down/up pair", "its down for both",
     [](Vocabulary& v) { v.category = [](KeyGroup g, KeyEdge) { return category(g, {}); }; }},
    {"every group maps to a distinct down/up pair", "all of one group",
     [](Vocabulary& v) { v.group = [](SoundCategory) { return KeyGroup::tab; }; }},
    {"root categories have no group and no in-theme fallback", "a fallback",
     withFallback(keyUp, keyDown)},
    {"root categories have no group and no in-theme fallback", "a group",
     [](Vocabulary& v) {
         v.group = [](SoundCategory category) {
             return category == keyDown ? KeyGroup::alpha : group(category);
         };
     }},
    {"every group category falls back to the matching root", "the other edge's",
     withFallback(tabUp, keyDown)},
    {"every group category falls back to the matching root", "none",
     withFallback(tabUp, std::nullopt)},
    {"every group category falls back to the matching root", "no group categories",
     [](Vocabulary& v) { v.group = [](SoundCategory) { return std::nullopt; }; }},
    {"no fidget category has an in-theme fallback", "one with a fallback",
     withFallback(pop, keyDown)},
    {"stabDown/stabUp raw values are gone from the enum", "one is back",
     [](Vocabulary& v) {
         v.fromRawValue = [](std::string_view key) {
             return key == "keyboard.stabUp" ? spaceUp : soundCategoryFromRawValue(key);
         };
     }},
    {"every keycode 0-127 routes to a group", "the last is silent",
     mishearing(keyDownEventType, 127, std::nullopt)},
    {"every keycode 0-127 routes to a group", "one makes a root's sound",
     mishearing(keyUpEventType, 0, keyUp)},
    {"all 11 reachable", "none for Caps Lock", mishearing(flagsChangedEventType, 57, std::nullopt)},
    {"no key group is orphaned", "none for a release", mishearing(keyUpEventType, 53, alphaUp)},
    {"named keycodes route to the right group", "one as any other",
     mishearing(keyUpEventType, 117, alphaUp)},
    {"unmapped keys route to alpha, not to a group without audio", "one as a named one",
     mishearing(keyDownEventType, 1, tabDown)},
    {"left shift pressed -> shift.down", "the other edge",
     mishearing(flagsChangedEventType, 56, shiftUp)},
    {"left shift released while right shift is held -> shift.up", "one flag for both sides",
     [](Vocabulary& v) {
         v.classify = [](std::uint32_t type, std::int64_t code, std::uint64_t flags) {
             constexpr std::uint64_t eitherShift = 0x6; // one flag for both sides
             return type == flagsChangedEventType && code == 56 && (flags & eitherShift) != 0
                        ? shiftDown
                        : classify(type, code, flags);
         };
     }},
    {"right command released -> command.up", "the other edge",
     mishearing(flagsChangedEventType, 54, commandDown)},
    {"caps lock on -> capsLock.down", "the other edge",
     mishearing(flagsChangedEventType, 57, capsLockUp)},
    {"caps lock off -> capsLock.up", "the other edge",
     mishearing(flagsChangedEventType, 57, capsLockDown)},
    {"fn pressed -> alpha.down", "silent", mishearing(flagsChangedEventType, 63, std::nullopt)},
    {"fn released -> alpha.up", "silent", mishearing(flagsChangedEventType, 63, std::nullopt)},
    {"flags of an ordinary key -> (silent)", "a sound",
     mishearing(flagsChangedEventType, 49, spaceUp)},
    {"flags of an unknown key -> (silent)", "a sound",
     mishearing(flagsChangedEventType, 200, alphaUp)},
    {"aliases map to the space group", "another group",
     [](Vocabulary& v) { v.aliases[0].second = enterDown; }},
    {"aliases map to the space group", "one missing", [](Vocabulary& v) { v.aliases.pop_back(); }},
    {"resolveManifestKey reports the deprecation", "unknown",
     [](Vocabulary& v) { v.resolveManifestKey = [](std::string_view) { return std::nullopt; }; }},
    {"current names resolve without a deprecation flag", "deprecated",
     [](Vocabulary& v) {
         v.resolveManifestKey = [](std::string_view) {
             return ManifestKeyResolution{spaceDown, true};
         };
     }},
};

INSTANTIATE_TEST_SUITE_P(EveryCheck, BrokenVocabularyTest, testing::ValuesIn(breakages));

TEST_F(KeyGroupSelfTestTest, AMissingDeprecationIsToldAsNil) {
    Vocabulary vocabulary;
    vocabulary.resolveManifestKey = [](std::string_view) { return std::nullopt; };
    run(vocabulary);
    EXPECT_EQ(resultOf("resolveManifestKey"),
              "[Morvel] KEYGROUPTEST   [FAIL] resolveManifestKey reports the deprecation — nil");
}

TEST_F(KeyGroupSelfTestTest, AKeyThatSoundsWrongIsNamed) {
    Vocabulary vocabulary;
    mishearing(keyDownEventType, 12, tabDown)(vocabulary);
    run(vocabulary);
    EXPECT_EQ(resultOf("unmapped keys"),
              "[Morvel] KEYGROUPTEST   [FAIL] unmapped keys route to alpha, not to a group without "
              "audio — not 12");
}

TEST(KeyGroupSelfTest, IsEnabledByExactlyOne) {
    const auto with = [](std::optional<std::string> value) {
        return KeyGroupSelfTest::isEnabled([value](const std::string& name) {
            return name == "MORVEL_KEYGROUP_SELFTEST" ? value : std::nullopt;
        });
    };
    EXPECT_TRUE(with("1"));
    EXPECT_FALSE(with("yes"));
    EXPECT_FALSE(with("1 "));
    EXPECT_FALSE(with(std::nullopt));
}

} // namespace
} // namespace morvel
