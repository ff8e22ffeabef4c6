#include "tests/themes/ThemeFolder.h"
#include "themes/ThemeManifest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace morvel {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class ThemeManifestTest : public testing::Test {
protected:
    static ThemeManifest decoded(std::string_view json) {
        auto manifest = ThemeManifest::decode(json);
        EXPECT_TRUE(manifest) << json << ": " << manifest.error().description();
        return manifest ? manifest.value() : ThemeManifest{};
    }
    // The description of the failure; empty when there is none.
    static std::string problem(std::string_view json) {
        const auto manifest = ThemeManifest::decode(json);
        return manifest ? "" : manifest.error().description();
    }
    // The one entry of a manifest that has only it, under the given key.
    static EffectiveEntry effective(std::string_view key, std::string_view entry,
                                    std::string_view defaults = "null") {
        const ThemeManifest manifest = decoded(
            R"({"schemaVersion": 1, "id": "", "name": "", "defaults": )" + std::string(defaults) +
            R"(, "categories": {")" + std::string(key) + "\": " + std::string(entry) + "}}");
        const auto& only = *manifest.categories.begin();
        return effectiveEntry(manifest, only.second, resolveManifestKey(only.first)->category);
    }
    static std::string withSchema(std::string_view version) {
        return R"({"schemaVersion": )" + std::string(version) +
               R"(, "id": "a", "name": "b", "categories": {}})";
    }

    TemporaryFolder temporary;
};

TEST_F(ThemeManifestTest, DecodesEveryField) {
    const ThemeManifest manifest = decoded(R"({
        "schemaVersion": 1, "id": "the-id", "name": "Ünïcode ✓", "author": "A", "description": "D",
        "defaults": {"gain": 0.5, "pitchJitterCents": 12},
        "categories": {"keyboard.down": {"variants": ["a.wav", "b.wav"], "gain": 0.25,
                                         "pitchJitterCents": -3.5, "loop": true}}})");
    EXPECT_EQ(manifest.schemaVersion, 1);
    EXPECT_EQ(manifest.id, "the-id");
    EXPECT_EQ(manifest.name, "Ünïcode ✓");
    EXPECT_EQ(manifest.author, "A");
    EXPECT_EQ(manifest.description, "D");
    EXPECT_EQ(manifest.defaults, (ThemeManifest::Defaults{0.5F, 12.0F}));
    const ThemeManifest::Entry entry{{{"a.wav", "b.wav"}}, 0.25F, -3.5F, true};
    EXPECT_EQ(manifest.categories, (ThemeManifest::Categories{{"keyboard.down", entry}}));
}

TEST_F(ThemeManifestTest, KeepsAbsentAuthorDescriptionAndDefaultsAbsent) {
    const ThemeManifest manifest = decoded(manifestWith(minimalCategories));
    EXPECT_EQ(manifest.author, std::nullopt);
    EXPECT_EQ(manifest.description, std::nullopt);
    EXPECT_EQ(manifest.defaults, std::nullopt);
}

TEST_F(ThemeManifestTest, TakesNullForAnOptionalFieldAsAbsent) {
    const ThemeManifest manifest =
        decoded(R"({"schemaVersion": 1, "id": "", "name": "", "author": null, "description": null,
                    "defaults": null, "categories": {"x": {"variants": null, "gain": null,
                    "pitchJitterCents": null, "loop": null}}})");
    EXPECT_EQ(manifest.author, std::nullopt);
    EXPECT_EQ(manifest.defaults, std::nullopt);
    EXPECT_EQ(manifest.categories.at("x"), ThemeManifest::Entry{});
}

TEST_F(ThemeManifestTest, FillsInWhatADefaultsObjectLeavesOut) {
    const EffectiveEntry half = effective("keyboard.down", "{}", R"({"gain": 0.5})");
    EXPECT_EQ(half.gain, 0.5F);
    EXPECT_EQ(half.pitchJitterCents, 0.0F);
    const EffectiveEntry jitter = effective("keyboard.down", "{}", R"({"pitchJitterCents": 7})");
    EXPECT_EQ(jitter.gain, 1.0F);
    EXPECT_EQ(jitter.pitchJitterCents, 7.0F);
    const EffectiveEntry none = effective("keyboard.down", "{}");
    EXPECT_EQ(none.gain, 1.0F);
    EXPECT_EQ(none.pitchJitterCents, 0.0F);
}

TEST_F(ThemeManifestTest, PrefersAnEntrysValuesToTheDefaults) {
    const EffectiveEntry entry =
        effective("keyboard.down", R"({"gain": -2, "pitchJitterCents": 0})",
                  R"({"gain": 0.5, "pitchJitterCents": 9})");
    EXPECT_EQ(entry.gain, -2.0F); // no range is imposed here
    EXPECT_EQ(entry.pitchJitterCents, 0.0F);
}

TEST_F(ThemeManifestTest, DecodesAnEmptyEntryWithEveryFieldAbsent) {
    const ThemeManifest manifest = decoded(manifestWith(R"({"keyboard.down": {}})"));
    EXPECT_EQ(manifest.categories.at("keyboard.down"), ThemeManifest::Entry{});
}

TEST_F(ThemeManifestTest, LoopsTheDialUnlessToldOtherwiseAndNothingElseUnlessTold) {
    EXPECT_TRUE(effective("fidget.dialLoop", "{}").loops);
    EXPECT_FALSE(effective("fidget.dialLoop", R"({"loop": false})").loops);
    EXPECT_FALSE(effective("fidget.pop", "{}").loops);
    EXPECT_TRUE(effective("fidget.pop", R"({"loop": true})").loops);
}

TEST_F(ThemeManifestTest, AcceptsSchemaOneAndEverythingBelow) {
    for (const char* const version : {"1", "0", "-7", "-9223372036854775808", "1.0", "1e0"})
        EXPECT_EQ(problem(withSchema(version)), "") << version;
}

TEST_F(ThemeManifestTest, RefusesANewerSchema) {
    const auto manifest = ThemeManifest::decode(withSchema("2"));
    ASSERT_FALSE(manifest);
    EXPECT_EQ(manifest.error(), (ThemeManifest::ManifestError{
                                    ThemeManifest::ManifestError::UnsupportedSchema{2, 1}}));
    EXPECT_EQ(manifest.error().description(),
              "Manifest schemaVersion 2 is newer than supported version 1");
    EXPECT_EQ(problem(withSchema("9223372036854775807")),
              "Manifest schemaVersion 9223372036854775807 is newer than supported version 1");
}

TEST_F(ThemeManifestTest, RefusesASchemaVersionThatIsNo64BitInteger) {
    for (const char* const version : {"\"1\"", "true", "null", "1.5", "[1]", "9223372036854775808",
                                      "1e19", "-9223372036854775809", "1e400"})
        EXPECT_THAT(problem(withSchema(version)), StartsWith("Could not read manifest: "))
            << version;
}

TEST_F(ThemeManifestTest, NamesARequiredKeyThatIsAbsentOrNull) {
    const std::pair<std::string, std::string> fields[] = {
        {"schemaVersion", "1"}, {"id", "\"a\""}, {"name", "\"b\""}, {"categories", "{}"}};
    for (const auto& absent : fields) {
        std::string without = "{";
        std::string null = "{";
        for (const auto& [key, value] : fields) {
            if (key != absent.first)
                without += "\"" + key + "\": " + value + ",";
            null += "\"" + key + "\": " + (key == absent.first ? "null" : value) + ",";
        }
        without.back() = '}';
        null.back() = '}';
        const std::string expected =
            "Could not read manifest: the manifest has no \"" + absent.first + "\"";
        EXPECT_EQ(problem(without), expected);
        EXPECT_EQ(problem(null), expected);
    }
}

TEST_F(ThemeManifestTest, RefusesTheWholeManifestForOneValueOfTheWrongType) {
    for (const char* const entry :
         {"null", "[]", "\"a.wav\"", "1", R"({"variants": "a.wav"})", R"({"variants": {}})",
          R"({"variants": ["a.wav", 1]})", R"({"variants": [null]})", R"({"gain": "1"})",
          R"({"gain": true})", R"({"gain": 1e39})", R"({"gain": -1e39})",
          R"({"pitchJitterCents": []})", R"({"loop": 1})", R"({"loop": "true"})"})
        EXPECT_THAT(problem(manifestWith(R"({"keyboard.down": {}, "keyboard.up": )" +
                                         std::string(entry) + "}")),
                    StartsWith("Could not read manifest: "))
            << entry;
    for (const char* const field : {R"("author": 1)", R"("description": [])", R"("defaults": [])",
                                    R"("defaults": {"gain": false})", R"("defaults": "none")"})
        EXPECT_THAT(problem(R"({"schemaVersion": 1, "id": "", "name": "", "categories": {}, )" +
                            std::string(field) + "}"),
                    StartsWith("Could not read manifest: "))
            << field;
    EXPECT_THAT(problem(manifestWith("[]")), StartsWith("Could not read manifest: "));
}

TEST_F(ThemeManifestTest, TellsWhichEntryHasTheWrongType) {
    EXPECT_EQ(problem(manifestWith(R"({"keyboard.up": {"gain": "loud"}})")),
              "Could not read manifest: \"gain\" of category \"keyboard.up\" is not a number");
}

TEST_F(ThemeManifestTest, TakesWholeNumbersAndTheLargestFloatForAFloat) {
    const ThemeManifest manifest =
        decoded(manifestWith(R"({"x": {"gain": 3.4028234663852886e38, "pitchJitterCents": -18}})"));
    EXPECT_EQ(manifest.categories.at("x").gain, std::numeric_limits<float>::max());
    EXPECT_EQ(manifest.categories.at("x").pitchJitterCents, -18.0F);
}

TEST_F(ThemeManifestTest, IgnoresUnknownKeysAtEveryLevel) {
    const ThemeManifest manifest =
        decoded(R"({"schemaVersion": 1, "id": "", "name": "", "more": [1, {"x": null}],
                    "defaults": {"gain": 2, "Gain": "x"},
                    "categories": {"keyboard.down": {"variant": 3, "gain": 1}}})");
    EXPECT_EQ(manifest.defaults->gain, 2.0F);
    EXPECT_EQ(manifest.categories.at("keyboard.down"), (ThemeManifest::Entry{{}, 1.0F, {}, {}}));
}

TEST_F(ThemeManifestTest, LetsTheLastOfTwoEqualKeysCount) {
    const ThemeManifest manifest = decoded(
        R"({"schemaVersion": "no", "id": "", "name": "1", "name": "2", "schemaVersion": 1,
            "categories": {"x": {"gain": "no"}, "x": {"gain": 2}}})");
    EXPECT_EQ(manifest.name, "2");
    EXPECT_EQ(manifest.categories.at("x").gain, 2.0F);
}

TEST_F(ThemeManifestTest, RefusesWhatIsNoJsonWithAPrintableText) {
    for (const std::string& text :
         {std::string(), std::string("not json"), std::string("{"), manifestWith("{}") + "x",
          std::string("[]"), std::string("null"), std::string("\xff\xfe{\0}", 5),
          manifestWith("{}", "\xc3\x28"), manifestWith("{}", "\xff"),
          manifestWith("{}", R"(\ud800)"), manifestWith("{}", "line\nbreak"),
          manifestWith(R"({"x": {"gain": NaN}})"), "/* comment */" + manifestWith("{}")}) {
        const std::string description = problem(text);
        EXPECT_THAT(description, StartsWith("Could not read manifest: ")) << text;
        EXPECT_EQ(description.find('\xff'), std::string::npos) << text;
    }
}

TEST_F(ThemeManifestTest, WalksAnExplicitCategoryBeforeItsRetiredName) {
    for (const char* const categories :
         {R"({"keyboard.space.down": {}, "keyboard.stabDown": {}, "a.unknown": {}})",
          R"({"a.unknown": {}, "keyboard.stabDown": {}, "keyboard.space.down": {}})"}) {
        const ThemeManifest manifest = decoded(manifestWith(categories));
        const auto order = manifest.walkOrder();
        ASSERT_EQ(order.size(), 3u);
        EXPECT_EQ(order[0]->first, "keyboard.space.down");
    }
}

TEST_F(ThemeManifestTest, WalksEveryCurrentKeyBeforeTheOthersWhateverTheCase) {
    const ThemeManifest manifest = decoded(manifestWith(
        R"({"Keyboard.Down": {}, "fidget.pop": {}, "keyboard.stabUp": {}, "keyboard.up": {}})"));
    const auto order = manifest.walkOrder();
    ASSERT_EQ(order.size(), 4u);
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_EQ(soundCategoryFromRawValue(order[i]->first).has_value(), i < 2) << i;
}

TEST_F(ThemeManifestTest, KnowsLegalVariantNames) {
    for (const char* const legal : {"a.wav", ".hidden.wav", "a", "ä ö.flac", "a.b.c.wav", "."})
        EXPECT_TRUE(isLegalVariantName(legal)) << legal;
    for (const char* const illegal : {"", "sub/file.wav", "/etc/passwd", "..", "../x.wav",
                                      "..x.wav", "file..wav", "../../../../etc/passwd"})
        EXPECT_FALSE(isLegalVariantName(illegal)) << illegal;
}

TEST_F(ThemeManifestTest, AuthorsAllKeyboardCategoriesFromTheTwoRoots) {
    const auto folder = makeMinimalTheme(temporary.path(), "minimal");
    const auto authored = decoded(manifestWith(minimalCategories)).authoredCategories(folder);
    EXPECT_EQ(authored.size(), 24u);
    for (const SoundCategory category : allSoundCategories())
        EXPECT_EQ(authored.contains(category), module(category) == SoundModule::keyboard);
}

TEST_F(ThemeManifestTest, AuthorsNothingWhenEveryFileIsAbsent) {
    EXPECT_TRUE(
        decoded(manifestWith(minimalCategories)).authoredCategories(temporary.path()).empty());
    EXPECT_TRUE(decoded(manifestWith(minimalCategories))
                    .authoredCategories(temporary.path() / "nowhere")
                    .empty());
}

TEST_F(ThemeManifestTest, AuthorsACategoryByAnyOneVariantThatOpens) {
    writeClick(temporary.path() / "good.wav");
    temporary.file("text.wav", "not a sound");
    const ThemeManifest manifest = decoded(manifestWith(
        R"({"fidget.pop": {"variants": ["gone.wav", "text.wav", "../x", "good.wav"]},
            "fidget.popReset": {"variants": ["text.wav"]},
            "fidget.toggleOn": {"variants": ["./good.wav"]},
            "fidget.toggleOff": {"variants": []}, "fidget.dialTick": {},
            "keyboard.stabUp": {"variants": ["good.wav"]},
            "fidget.unknown": {"variants": ["good.wav"]}})"));
    EXPECT_EQ(manifest.authoredCategories(temporary.path()),
              (std::set{SoundCategory::pop, SoundCategory::spaceUp}));
}

TEST_F(ThemeManifestTest, ReadsTheManifestOfAFolder) {
    const auto folder = makeMinimalTheme(temporary.path(), "minimal");
    const auto manifest = ThemeManifest::readManifest(folder);
    ASSERT_TRUE(manifest);
    EXPECT_EQ(manifest->name, "Minimal");
    EXPECT_EQ(manifest->categories.size(), 2u);
}

TEST_F(ThemeManifestTest, NamesTheFolderThatHasNoManifest) {
    const auto folder = temporary.folder("empty theme");
    for (const auto& given : {folder, folder / ""}) {
        const auto manifest = ThemeManifest::readManifest(given);
        ASSERT_FALSE(manifest);
        EXPECT_EQ(manifest.error().description(), "No manifest.json in empty theme");
    }
    const auto manifest = ThemeManifest::readManifest(temporary.path() / "nowhere");
    ASSERT_FALSE(manifest);
    EXPECT_EQ(manifest.error().description(), "No manifest.json in nowhere");
}

} // namespace
} // namespace morvel
