#include "audio/sample/AudioFileReader.h"
#include "platform/simulated/SeededRandom.h"
#include "platform/simulated/SimulatedLog.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WavFiles.h"
#include "themes/SoundTheme.h"
#include "tools/audition/SoundMatcher.h"
#include "tools/soundbook/ContactSheet.h"
#include "tools/soundbook/FlacFile.h"
#include "tools/soundbook/Spectrogram.h"
#include "tools/soundbook/TypingDemo.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <set>

namespace morvel::soundbook {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::FloatNear;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

const std::filesystem::path shippedThemes = MORVEL_SOURCE_DIR "/resources/Sounds";

class ShippedTheme : public testing::Test {
protected:
    TypingDemo demo(const std::string& id) {
        auto result = typingDemo(catalog.descriptor(id).value(), catalog, log);
        return std::move(result).value();
    }

    SimulatedLog log;
    SeededRandom random{1};
    ThemeCatalog catalog{shippedThemes, {}, log};
};

using TypingDemoTest = ShippedTheme;

TEST_F(TypingDemoTest, LastsTenSecondsAndHasRungOutByThen) {
    const TypingDemo played = demo("mechanical");
    EXPECT_THAT(played.interleaved, SizeIs(2 * 441000));
    const auto end = std::span(played.interleaved).last(std::size_t{2} * 882);
    EXPECT_THAT(std::vector<float>(end.begin(), end.end()), Each(FloatNear(0, 0.001F)));
}

TEST_F(TypingDemoTest, IsTheSameEveryTime) {
    EXPECT_EQ(demo("default").interleaved, demo("default").interleaved);
}

TEST_F(TypingDemoTest, AThemeThatIsGoneIsAnError) {
    ThemeDescriptor gone;
    gone.id = "gone";
    gone.directory = shippedThemes / "gone";
    EXPECT_FALSE(typingDemo(gone, catalog, log));
}

// Where the dial turns: first frame and count.
std::pair<std::size_t, std::size_t> dialStretch(const TypingDemo& demo) {
    const auto cue = [&](SoundCategory category) {
        const auto found = std::ranges::find(demo.cues, category, &TypingDemo::Cue::category);
        return static_cast<std::size_t>(found->at * 44100);
    };
    const std::size_t first = cue(SoundCategory::buttonUp) + 44100 / 4;
    return {first, cue(SoundCategory::popReset) - first};
}

TEST_F(TypingDemoTest, HoldsEverySoundThatIsTypedAndPlayedAndNoOther) {
    std::vector<SoundCategory> categories;
    for (const SoundCategory category : allSoundCategories())
        if (group(category) ||
            (module(category) == SoundModule::fidget && category != SoundCategory::dialLoop &&
             category != SoundCategory::dialTick))
            categories.push_back(category);
    const auto theme = SoundTheme::load("mechanical", catalog, log, random);
    ASSERT_TRUE(theme);
    TypingDemo played = demo("mechanical");
    // The whir of the dial covers what one could tell apart.
    const auto [first, count] = dialStretch(played);
    std::ranges::fill(std::span(played.interleaved).subspan(2 * first, 2 * count), 0.0F);

    const auto heard =
        audition::SoundMatcher(*theme.value(), categories).listen(played.interleaved);
    ASSERT_EQ(heard.size(), played.cues.size());
    std::set<SoundCategory> asked;
    for (std::size_t i = 0; i < heard.size(); ++i) {
        const TypingDemo::Cue& cue = played.cues[i];
        asked.insert(cue.category);
        EXPECT_EQ(heard[i].category, cue.category) << "at " << cue.at;
        EXPECT_NEAR(static_cast<double>(heard[i].onset) / 44100, cue.at, 0.004);
        EXPECT_GT(heard[i].correlation, 0.9) << "at " << cue.at;
    }
    EXPECT_THAT(asked, SizeIs(categories.size())) << "nothing is left out";
}

TEST_F(TypingDemoTest, TheDialIsHeardWhirring) {
    const TypingDemo played = demo("mechanical");
    const auto [first, count] = dialStretch(played);
    const std::size_t half = 22050;
    ASSERT_GT(count, half);
    const auto dial = std::span(played.interleaved).subspan(2 * first, 2 * half);
    for (std::size_t from = 0; from < dial.size(); from += 4410)
        EXPECT_GT(std::ranges::max(dial.subspan(from, 4410)), 0.001F) << "silent at " << from;
}

TEST(FlacFile, HoldsTheSamplesInSixteenBitsAndTheSameBytesEveryTime) {
    const TemporaryFolder folder;
    std::vector<float> samples = sine(canonicalFormat, 5000);
    samples[10] = 1.5F;
    ASSERT_EQ(writeFlac(folder / "a.flac", samples), std::nullopt);
    ASSERT_EQ(writeFlac(folder / "b.flac", samples), std::nullopt);
    EXPECT_EQ(readText(folder / "a.flac"), readText(folder / "b.flac"));

    auto reader = AudioFileReader::open(folder / "a.flac");
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->processingFormat(), canonicalFormat);
    const auto audio = reader->readAll({});
    ASSERT_TRUE(audio);
    ASSERT_EQ(audio->frameLength(), 5000U);
    for (std::size_t n = 0; n < 5000; ++n)
        ASSERT_NEAR(audio->channels[0][n], std::min(samples[2 * n], 1.0F), 1.0F / 20000) << n;
}

TEST(FlacFile, AFileThatCannotBeWrittenIsAnError) {
    const TemporaryFolder folder;
    const auto failure = writeFlac(folder / "nowhere" / "a.flac", std::vector<float>(2));
    ASSERT_TRUE(failure);
    EXPECT_THAT(*failure, HasSubstr("nowhere"));
}

SpectrogramAxes halfASecond() {
    SpectrogramAxes axes;
    axes.seconds = 0.5;
    axes.columns = 100;
    axes.rows = 90;
    return axes;
}

TEST(Spectrogram, ATonesRowHasItsAmplitudeAndIsTheLoudest) {
    std::vector<float> tone;
    for (int n = 0; n < 22050; ++n)
        tone.push_back(0.25F * std::sin(0.14247585F * static_cast<float>(n))); // 1,000 Hz
    const Spectrogram seen(tone, halfASecond());
    std::size_t loudest = 0;
    for (std::size_t row = 1; row < 90; ++row)
        if (seen.at(row, 50) > seen.at(loudest, 50))
            loudest = row;
    EXPECT_NEAR(static_cast<double>(loudest), 90 * std::log(16.0) / std::log(400.0), 1);
    EXPECT_NEAR(seen.at(loudest, 50), 0.25, 0.01);
    EXPECT_NEAR(seen.loudest(), 0.25, 0.02);
}

TEST(Spectrogram, AClickStaysInItsColumn) {
    std::vector<float> click(22050);
    click[11025 + 110] = 1;
    const Spectrogram seen(click, halfASecond());
    for (std::size_t row = 0; row < 20; ++row) {
        EXPECT_GT(seen.at(row, 50), 0.003F);
        EXPECT_LT(seen.at(row, 48), 1e-6F);
        EXPECT_LT(seen.at(row, 52), 1e-6F);
    }
}

TEST(Spectrogram, SilenceIsZeroAndTheAxisMayReachBeyondTheSound) {
    SpectrogramAxes axes = halfASecond();
    axes.start = -0.1;
    EXPECT_EQ(Spectrogram(std::vector<float>(300), axes).loudest(), 0);
    EXPECT_EQ(Spectrogram({}, axes).loudest(), 0);
}

class ContactSheetTest : public testing::Test {
protected:
    // A theme of one sound for each of these categories, all of them the same.
    std::shared_ptr<const SoundTheme> theme(const std::vector<std::string>& categories,
                                            const std::vector<float>& sound) {
        std::string entries;
        for (const std::string& category : categories)
            entries += (entries.empty() ? "" : ",") + ("\"" + category + "\"") +
                       R"(: {"variants": ["a.wav", "b.wav"]})";
        folder.file("theme/manifest.json",
                    R"({"schemaVersion": 1, "id": "theme", "name": "Theme", "categories": {)" +
                        entries + "}}");
        for (const char* name : {"a.wav", "b.wav"})
            writeWav(folder / "theme" / name, canonicalFormat, sound);
        ThemeDescriptor descriptor;
        descriptor.id = "theme";
        descriptor.directory = folder / "theme";
        return SoundTheme::load(descriptor, nullptr, log, random).value();
    }

    static std::set<QRgb> colours(const QImage& picture, const QRect& area) {
        const int ratio = ContactSheet::pixelRatio;
        std::set<QRgb> found;
        for (int y = area.top() * ratio; y < (area.bottom() + 1) * ratio; ++y)
            for (int x = area.left() * ratio; x < (area.right() + 1) * ratio; ++x)
                found.insert(picture.pixel(x, y));
        return found;
    }

    TemporaryFolder folder;
    SimulatedLog log;
    SeededRandom random{1};
};

TEST_F(ContactSheetTest, EveryCategoryOfItsOwnHasAPanelInsideThePictureAndApartFromOthers) {
    const auto shown = theme({"keyboard.down", "keyboard.up", "keyboard.tab.down", "fidget.pop",
                              "fidget.buttonDown", "fidget.buttonUp"},
                             sine(canonicalFormat, 3000));
    const ContactSheet sheet(*shown, "A description");
    const QImage picture = sheet.draw();
    std::vector<SoundCategory> categories;
    std::vector<QRect> areas;
    for (const auto& panel : sheet.panels()) {
        categories.push_back(panel.category);
        const QRect area = panel.title() | panel.timeAxis();
        EXPECT_TRUE(QRect(QPoint(), picture.size() / ContactSheet::pixelRatio).contains(area));
        for (const QRect& other : areas)
            EXPECT_FALSE(area.intersects(other));
        areas.push_back(area);
    }
    EXPECT_THAT(categories, ElementsAre(SoundCategory::keyDown, SoundCategory::keyUp,
                                        SoundCategory::tabDown, SoundCategory::pop,
                                        SoundCategory::buttonDown, SoundCategory::buttonUp));
    EXPECT_GT(areas[3].top(), areas[2].bottom()) << "toys begin a row";
}

TEST_F(ContactSheetTest, ASoundIsSeenAndSilenceIsNot) {
    const std::vector<std::string> names = {"keyboard.down", "fidget.pop"};
    const auto sounding = theme(names, sine(canonicalFormat, 3000));
    const ContactSheet sheet(*sounding, {});
    const QImage picture = sheet.draw();
    for (const auto& panel : sheet.panels()) {
        EXPECT_THAT(colours(picture, panel.spectrogram()), SizeIs(testing::Gt(20)));
        EXPECT_THAT(colours(picture, panel.waveform()), Not(IsEmpty()));
        EXPECT_THAT(colours(picture, panel.title()), SizeIs(testing::Gt(5)));
    }

    const auto silent = theme(names, std::vector<float>(6000));
    const ContactSheet silentSheet(*silent, {});
    const QImage silentPicture = silentSheet.draw();
    for (const auto& panel : silentSheet.panels()) {
        EXPECT_THAT(colours(silentPicture, panel.spectrogram()), SizeIs(testing::Le(3)))
            << "nothing but the lines of the axes";
        QRect left = panel.waveform(); // away from the word that says so
        left.setWidth(left.width() / 2);
        EXPECT_THAT(colours(silentPicture, left), SizeIs(1));
        left = panel.waveform();
        left.setWidth(left.width() / 2);
        EXPECT_THAT(colours(picture, left), SizeIs(testing::Gt(1)));
    }
}

TEST_F(ContactSheetTest, ASoundThatLastsLongerThanTheKeysHasATimeAxisOfItsOwn) {
    folder.file("theme/manifest.json", R"({"schemaVersion": 1, "id": "theme", "name": "Theme",
        "categories": {"keyboard.down": {"variants": ["a.wav"]},
                       "fidget.dialTick": {"variants": ["c.wav"]},
                       "fidget.dialLoop": {"variants": ["b.wav"]}}})");
    std::vector<float> dyingDown = sine(canonicalFormat, 5000); // 113 ms
    dyingDown.resize(20000);
    writeWav(folder / "theme/a.wav", canonicalFormat, dyingDown);
    writeWav(folder / "theme/b.wav", canonicalFormat, sine(canonicalFormat, 66150));
    writeWav(folder / "theme/c.wav", canonicalFormat, sine(canonicalFormat, 1000));
    ThemeDescriptor descriptor;
    descriptor.id = "theme";
    descriptor.directory = folder / "theme";
    const auto loaded = SoundTheme::load(descriptor, nullptr, log, random);
    ASSERT_TRUE(loaded);
    const ContactSheet sheet(*loaded.value(), {});
    ASSERT_THAT(sheet.panels(), SizeIs(3));
    EXPECT_NEAR(sheet.panels()[0].seconds, 0.15, 1e-9) << "as long as it is heard, in steps";
    EXPECT_NEAR(sheet.panels()[1].seconds, 0.15, 1e-9) << "to be compared with the keys";
    EXPECT_NEAR(sheet.panels()[2].seconds, 1.5, 1e-9);
}

TEST_F(ContactSheetTest, OneKeyThatRingsOnHasAMarkedTimeAxisOfItsOwnAndLeavesTheOthersTheirs) {
    folder.file("theme/manifest.json", R"({"schemaVersion": 1, "id": "theme", "name": "Theme",
        "categories": {"keyboard.down": {"variants": ["short.wav"]},
                       "keyboard.enter.down": {"variants": ["long.wav"]},
                       "fidget.pop": {"variants": ["short.wav"]}}})");
    writeWav(folder / "theme/short.wav", canonicalFormat, sine(canonicalFormat, 8820));
    writeWav(folder / "theme/long.wav", canonicalFormat, sine(canonicalFormat, 39690));
    ThemeDescriptor descriptor;
    descriptor.id = "theme";
    descriptor.directory = folder / "theme";
    const auto loaded = SoundTheme::load(descriptor, nullptr, log, random);
    ASSERT_TRUE(loaded);
    const ContactSheet sheet(*loaded.value(), {});
    const QImage picture = sheet.draw();
    ASSERT_THAT(sheet.panels(), SizeIs(3));
    for (const auto& panel : sheet.panels()) {
        const bool rings = panel.category == SoundCategory::enterDown;
        EXPECT_NEAR(panel.seconds, rings ? 0.9 : 0.3, 1e-9) << rawValue(panel.category);
        EXPECT_EQ(panel.hasOwnTime, rings) << rawValue(panel.category);
        int brightest = 0;
        for (const QRgb colour : colours(picture, panel.timeAxis()))
            brightest = std::max(brightest, qGray(colour));
        EXPECT_EQ(brightest > 200, rings) << rawValue(panel.category) << " " << brightest;
    }
}

TEST(SoundbookCheck, TheRepositorysPageShowsEveryBuiltInTheme) {
    test::ChildProcess script({{MORVEL_SOURCE_DIR "/scripts/soundbook", "check"}, {}, {}, {}});
    EXPECT_EQ(script.wait(std::chrono::seconds(20)), 0);
}

TEST(SoundbookCheck, TheRepositorysPageDescribesEveryThemeInTwoSentences) {
    const std::string page = readText(MORVEL_SOURCE_DIR "/docs/sounds.md");
    int themes = 0;
    for (auto at = page.find("\n## "); at != std::string::npos; at = page.find("\n## ", at + 1)) {
        const auto from = page.find("\n\n", at);
        const std::string words = page.substr(from, page.find("\n\n", from + 2) - from);
        EXPECT_EQ(std::ranges::count(words, '.'), 2) << words;
        ++themes;
    }
    EXPECT_EQ(themes, 6);
}

// Runs the script's check on a page of ours and themes of ours.
class SoundbookCheckTest : public testing::Test {
protected:
    void addTheme(const std::string& id) {
        folder.file("themes/" + id + "/manifest.json", "{}");
        folder.file("docs/sounds/" + id + ".png", "picture");
        folder.file("docs/sounds/" + id + ".flac", "demo");
        page += "[Listen](sounds/" + id + ".flac)\n![Sheet](sounds/" + id + ".png)\n";
    }

    int check() {
        folder.file("docs/sounds.md", page);
        test::ChildProcess script(
            {{MORVEL_SOURCE_DIR "/scripts/soundbook", "check", (folder / "docs/sounds.md").string(),
              (folder / "themes").string()},
             {},
             {},
             {},
             (folder / "said").string()});
        const int status = script.wait(std::chrono::seconds(20));
        said = readText(folder / "said");
        return status;
    }

    TemporaryFolder folder;
    std::string page = "# Themes\n";
    std::string said;
};

TEST_F(SoundbookCheckTest, APageThatShowsEveryThemePasses) {
    addTheme("one");
    addTheme("two");
    EXPECT_EQ(check(), 0);
    EXPECT_EQ(said, "");
}

TEST_F(SoundbookCheckTest, AThemeThatThePageLacksIsNamed) {
    addTheme("one");
    const std::string before = page;
    addTheme("on"); // whose name another's begins with
    page = before;
    EXPECT_EQ(check(), 1);
    EXPECT_THAT(said, HasSubstr("sounds.md does not show sounds/on.png\n"));
    EXPECT_THAT(said, HasSubstr("sounds.md does not show sounds/on.flac\n"));
    EXPECT_THAT(said, Not(HasSubstr("one")));
}

TEST_F(SoundbookCheckTest, AThemeWithoutPictureOrDemoIsNamed) {
    addTheme("one");
    addTheme("two");
    std::filesystem::remove(folder / "docs/sounds/one.png");
    folder.file("docs/sounds/two.flac", "");
    EXPECT_EQ(check(), 1);
    EXPECT_THAT(said, HasSubstr("sounds/one.png is missing"));
    EXPECT_THAT(said, HasSubstr("sounds/two.flac is missing"));
    EXPECT_THAT(said, Not(HasSubstr("does not show")));
}

} // namespace
} // namespace morvel::soundbook
