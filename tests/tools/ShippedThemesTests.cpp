#include "sound/SoundCategory.h"
#include "tests/support/AudioMeasure.h"
#include "tests/tools/BuiltInThemes.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

namespace morvel {
namespace {

namespace fs = std::filesystem;
using measure::Envelope;
using measure::Fingerprint;
using measure::WavSound;

struct Variant {
    std::string category;
    std::string file;
    WavSound sound;
};

fs::path folderOf(const std::string& theme) {
    return fs::path(MORVEL_SOURCE_DIR "/resources/Sounds") / theme;
}

nlohmann::json manifestOf(const std::string& theme) {
    return nlohmann::json::parse(measure::readBytes(folderOf(theme) / "manifest.json"));
}

// Every sound of a theme, read once for the whole program. A file that cannot be read has none.
const std::vector<Variant>& variantsOf(const std::string& theme) {
    static std::map<std::string, std::vector<Variant>> themes;
    const auto [it, isNew] = themes.try_emplace(theme);
    if (isNew) {
        const auto manifest = manifestOf(theme);
        for (const auto& [category, entry] : manifest.at("categories").items())
            for (const std::string file : entry.at("variants"))
                it->second.push_back(
                    {category, file,
                     measure::readWav(folderOf(theme) / file).value_or(WavSound{})});
    }
    return it->second;
}

class ShippedTheme : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        m_folder = folderOf(GetParam());
        m_manifest = manifestOf(GetParam());
        for (const auto& variant : variantsOf(GetParam()))
            ASSERT_GT(variant.sound.frames(), 0u)
                << variant.file << " is not a canonical 16-bit WAV file";
    }

    // The bell at the end of the typewriter's line rings on, as nothing else may.
    static bool isBell(const Variant& variant) {
        return GetParam() == std::string("carriage") && variant.category == "keyboard.enter.down";
    }

    std::vector<const Variant*> keyboardVariants() const {
        std::vector<const Variant*> result;
        for (const auto& variant : m_variants)
            if (variant.category.starts_with("keyboard."))
                result.push_back(&variant);
        return result;
    }

    std::size_t variantCount(const std::string& category) const {
        return static_cast<std::size_t>(
            std::count_if(m_variants.begin(), m_variants.end(),
                          [&](const auto& v) { return v.category == category; }));
    }

    fs::path m_folder;
    nlohmann::json m_manifest;
    const std::vector<Variant>& m_variants = variantsOf(GetParam());
};

INSTANTIATE_TEST_SUITE_P(BuiltIn, ShippedTheme, testing::ValuesIn(test::builtInThemes),
                         [](const auto& theme) { return std::string(theme.param); });

TEST_P(ShippedTheme, ManifestNamesTheThemeAndOnlyKnownCategories) {
    EXPECT_EQ(m_manifest.at("schemaVersion"), 1);
    EXPECT_EQ(m_manifest.at("id"), GetParam());
    EXPECT_EQ(m_manifest.at("author"), "Morvel");
    EXPECT_FALSE(m_manifest.at("name").get<std::string>().empty());
    EXPECT_FALSE(m_manifest.at("description").get<std::string>().empty());
    for (const auto& [category, entry] : m_manifest.at("categories").items())
        EXPECT_TRUE(soundCategoryFromRawValue(category)) << category;
}

TEST_P(ShippedTheme, EveryFileBelongsToOneCategoryAndNoneIsLeftOver) {
    std::set<std::string> listed;
    for (const auto& variant : m_variants)
        EXPECT_TRUE(listed.insert(variant.file).second) << variant.file;
    for (const auto& entry : fs::directory_iterator(m_folder)) {
        const std::string name = entry.path().filename().string();
        EXPECT_TRUE(name == "manifest.json" || listed.contains(name)) << name;
    }
}

TEST_P(ShippedTheme, RootsAndToysAreThereWithEnoughVariants) {
    for (const char* letters : {"keyboard.down", "keyboard.up"})
        EXPECT_GE(variantCount(letters), 6u) << letters;
    for (const char* letters : {"keyboard.alpha.down", "keyboard.alpha.up"}) {
        const std::size_t count = variantCount(letters);
        EXPECT_TRUE(count == 0 || count >= 6) << letters;
    }
    for (const auto category : allSoundCategories()) {
        const std::string name(rawValue(category));
        if (category == SoundCategory::dialLoop) {
            EXPECT_EQ(variantCount(name), 1u);
        } else if (module(category) == SoundModule::fidget || variantCount(name) > 0) {
            EXPECT_GE(variantCount(name), 3u) << name;
        }
    }
}

TEST_P(ShippedTheme, EveryFileIsStereoSixteenBitAtTheCanonicalRateWithoutClipping) {
    for (const auto& [category, file, sound] : m_variants) {
        EXPECT_EQ(sound.sampleRate, 44100u) << file;
        EXPECT_EQ(sound.channels, 2) << file;
        EXPECT_EQ(sound.bits, 16) << file;
        const Envelope envelope = measure::measureEnvelope(sound);
        EXPECT_LE(envelope.peakDb, -1) << file;
        EXPECT_LE(std::fabs(envelope.dcOffset), 0.0005) << file;
        EXPECT_LE(envelope.sideToMidDb, -9) << file;
    }
}

TEST_P(ShippedTheme, KeySoundsStartAtOnceAndEndInSilence) {
    for (const auto* variant : keyboardVariants()) {
        const Envelope envelope = measure::measureEnvelope(variant->sound);
        EXPECT_LE(envelope.firstFrameDb, -50) << variant->file;
        EXPECT_LE(envelope.onsetMs, 2) << variant->file;
        EXPECT_LE(envelope.lastFiveMsRelativeDb, -60) << variant->file;
    }
}

// That even the bell has died down by its end is asked of all key sounds above.
TEST_P(ShippedTheme, KeySoundsAreAsShortAsKeysAreAndTheBellNoLongerThanASecond) {
    for (const auto* variant : keyboardVariants()) {
        const Envelope envelope = measure::measureEnvelope(variant->sound);
        EXPECT_GE(envelope.duration40Ms, 40) << variant->file;
        EXPECT_LE(envelope.duration40Ms, isBell(*variant) ? 700 : 240) << variant->file;
        EXPECT_LE(variant->sound.frames(), isBell(*variant) ? 44100u : 44100u * 35 / 100)
            << variant->file;
    }
}

TEST_P(ShippedTheme, TheDialTurnsInALoopWithoutASeam) {
    const auto& entry = m_manifest.at("categories").at("fidget.dialLoop");
    ASSERT_TRUE(entry.contains("loop"));
    EXPECT_EQ(entry.at("loop"), true);
    for (const auto& [category, file, sound] : m_variants) {
        if (category != "fidget.dialLoop")
            continue;
        const measure::LoopSeam seam = measure::measureSeam(sound);
        RecordProperty("step", std::to_string(seam.step));
        RecordProperty("bend", std::to_string(seam.bend));
        EXPECT_LE(seam.step, 1) << file;
        EXPECT_LE(seam.bend, 1) << file;
        int rougher = 0;
        WavSound cut = sound;
        for (int i = 0; i < 40; ++i) {
            cut.samples.resize(cut.samples.size() - std::size_t{2} * 501);
            const measure::LoopSeam torn = measure::measureSeam(cut);
            rougher += torn.step > 1 || torn.bend > 1;
        }
        EXPECT_GE(rougher, 20) << file << " cut anywhere would pass as well";
    }
}

TEST_P(ShippedTheme, NothingButTheDialIsALoop) {
    for (const auto& [category, entry] : m_manifest.at("categories").items())
        EXPECT_TRUE(category == "fidget.dialLoop" || !entry.contains("loop")) << category;
}

TEST_P(ShippedTheme, ReleasesAreNoLouderThanPressesAndAtMostSevenDecibelsSofter) {
    std::map<std::string, std::vector<double>> levels;
    for (const auto* variant : keyboardVariants())
        levels[variant->category].push_back(measure::measureEnvelope(variant->sound).loudest50MsDb);
    const auto mean = [&](const std::string& category) {
        double sum = 0;
        for (const double level : levels.at(category))
            sum += level;
        return sum / static_cast<double>(levels.at(category).size());
    };
    for (const auto& [category, unused] : levels) {
        if (!category.ends_with(".down"))
            continue;
        const std::string up = category.substr(0, category.size() - 4) + "up";
        const double softer = mean(category) - mean(up);
        EXPECT_GE(softer, 0) << category;
        EXPECT_LE(softer, 7) << category;
    }
}

TEST_P(ShippedTheme, CategoriesCanBeToldApartAndVariantsDiffer) {
    std::vector<Fingerprint> prints;
    for (const auto& variant : m_variants)
        prints.emplace_back(variant.sound);
    for (std::size_t i = 0; i < prints.size(); ++i) {
        EXPECT_NEAR(prints[i].similarity(prints[i]), 1, 1e-6) << m_variants[i].file;
        for (std::size_t j = 0; j < i; ++j) {
            const bool sameCategory = m_variants[i].category == m_variants[j].category;
            EXPECT_LT(prints[i].similarity(prints[j]), sameCategory ? 0.9 : 0.6)
                << m_variants[i].file << " and " << m_variants[j].file;
        }
    }
}

std::set<std::string> categoriesOf(const std::string& theme) {
    const auto manifest = manifestOf(theme);
    std::set<std::string> result;
    for (const auto& [category, entry] : manifest.at("categories").items())
        result.insert(category);
    return result;
}

TEST(ShippedThemes, AllButDefaultCoverEveryCategory) {
    for (const std::string theme : test::builtInThemes) {
        if (theme != "default") {
            EXPECT_EQ(categoriesOf(theme).size(), soundCategoryCount) << theme;
        }
    }
}

TEST(ShippedThemes, AreTheOnesThatTheTestsKnow) {
    std::set<std::string> found;
    for (const auto& entry : fs::directory_iterator(folderOf("")))
        found.insert(entry.path().filename().string());
    EXPECT_EQ(found, std::set<std::string>(std::begin(test::builtInThemes),
                                           std::end(test::builtInThemes)));
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

TEST(ShippedThemes, LettersAreOfClearlyDifferentPitchAndLength) {
    std::vector<double> centroids;
    std::vector<double> decays;
    for (const char* theme : test::builtInThemes) {
        const char* letters = categoriesOf(theme).contains("keyboard.alpha.down")
                                  ? "keyboard.alpha.down"
                                  : "keyboard.down";
        std::vector<double> ofCentroid;
        std::vector<double> ofDecay;
        for (const auto& variant : variantsOf(theme)) {
            if (variant.category != letters)
                continue;
            ofCentroid.push_back(measure::spectralCentroidHz(variant.sound));
            ofDecay.push_back(measure::decay20Ms(variant.sound));
        }
        centroids.push_back(median(ofCentroid));
        decays.push_back(median(ofDecay));
        const std::string name = theme;
        testing::Test::RecordProperty(name + "CentroidHz", std::to_string(centroids.back()));
        testing::Test::RecordProperty(name + "DecayMs", std::to_string(decays.back()));
    }
    const auto [deepest, brightest] = std::minmax_element(centroids.begin(), centroids.end());
    EXPECT_GE(std::log2(*brightest / *deepest), 1.5);
    const auto [shortest, longest] = std::minmax_element(decays.begin(), decays.end());
    EXPECT_GE(*longest / *shortest, 2);
}

TEST(ShippedThemes, DefaultHasItsOwnStabilisedKeysAndLeavesCapsLockToItsRoot) {
    const auto categories = categoriesOf("default");
    for (const auto key : {KeyGroup::space, KeyGroup::enter, KeyGroup::delete_, KeyGroup::shift})
        for (const auto edge : {KeyEdge::down, KeyEdge::up})
            EXPECT_TRUE(categories.contains(std::string(rawValue(category(key, edge)))))
                << rawValue(key);
    EXPECT_FALSE(categories.contains("keyboard.capsLock.down"));
    EXPECT_FALSE(categories.contains("keyboard.capsLock.up"));
}

TEST(ShippedThemes, StayWithinThirtyMegabytes) {
    std::uintmax_t bytes = 0;
    for (const char* theme : test::builtInThemes)
        for (const auto& entry : fs::directory_iterator(folderOf(theme)))
            bytes += entry.file_size();
    EXPECT_LE(bytes, 30u * 1000 * 1000);
}

} // namespace
} // namespace morvel
