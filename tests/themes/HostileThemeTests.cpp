// Theme folders made to do harm, or broken in the ways that downloads break.
#include "platform/simulated/ScriptedRandom.h"
#include "platform/simulated/SimulatedLog.h"
#include "tests/themes/ThemeFolder.h"
#include "themes/SoundTheme.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace morvel {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class HostileThemeTest : public testing::Test {
protected:
    SoundTheme::Loaded load(const std::filesystem::path& folder) {
        ThemeDescriptor descriptor;
        descriptor.id = folder.filename();
        descriptor.directory = folder;
        return SoundTheme::load(descriptor, nullptr, log, random);
    }
    // What the catalogue says of the only theme, which it must skip with one line.
    std::string skipLine() {
        log.clear();
        EXPECT_THAT(catalog.discover(), IsEmpty());
        EXPECT_EQ(log.lines().size(), 1u);
        return log.lines().empty() ? "" : log.lines().front();
    }
    // A theme of one category, fidget.pop, whose variants are these.
    std::filesystem::path popTheme(const std::string& variants) const {
        return makeTheme(root, "evil",
                         manifestWith(R"({"fidget.pop": {"variants": [)" + variants + "]}}"), {});
    }

    TemporaryFolder temporary;
    std::filesystem::path root = temporary.folder("Themes");
    SimulatedLog log;
    ScriptedRandom random{{0}};
    ThemeCatalog catalog{std::nullopt, root, log};
};

TEST_F(HostileThemeTest, AManifestOf100MegabytesIsNotRead) {
    const auto folder = makeMinimalTheme(root, "evil");
    std::filesystem::resize_file(folder / "manifest.json", 100 << 20);
    EXPECT_EQ(skipLine(), "[Morvel] Skipping 'evil' in " + root.native() +
                              ": Could not read manifest: the file is larger than 1 MiB");
}

TEST_F(HostileThemeTest, AManifestNested100000DeepIsRefusedWithoutRecursion) {
    for (const char* const opening : {"[", "{\"a\":"}) {
        std::string deep;
        for (int i = 0; i < 100000; ++i)
            deep += opening;
        makeTheme(root, "evil", deep, {});
        EXPECT_THAT(skipLine(), testing::EndsWith("Could not read manifest: nested more than 64 "
                                                  "levels deep"));
    }
}

TEST_F(HostileThemeTest, AManifestThatIsADevicePipeFolderOrRingIsMissing) {
    const auto folder = temporary.folder("Themes/evil");
    const auto manifest = folder / "manifest.json";
    const std::string expected =
        "[Morvel] Skipping 'evil' in " + root.native() + ": No manifest.json in evil";
    for (const char* const target : {"/dev/zero", "/dev/urandom", "manifest.json", "/", "gone"}) {
        std::filesystem::create_symlink(target, manifest);
        EXPECT_EQ(skipLine(), expected) << target;
        std::filesystem::remove(manifest);
    }
    ASSERT_EQ(mkfifo(manifest.c_str(), 0600), 0);
    EXPECT_EQ(skipLine(), expected);
}

TEST_F(HostileThemeTest, AManifestOfRandomOrBinaryBytesIsRefusedWithOnePrintableLine) {
    std::string bytes;
    for (int i = 0; i < 4096; ++i)
        bytes += static_cast<char>((i * 73 + i / 7) & 0xff);
    makeTheme(root, "evil", bytes, {});
    EXPECT_THAT(skipLine(), HasSubstr("Could not read manifest: "));
}

TEST_F(HostileThemeTest, VariantsThatAreDevicesPipesOrRingsAreSkipped) {
    const auto folder = popTheme(R"("zero.wav", "pipe.wav", "ring.wav", "folder.wav")");
    std::filesystem::create_symlink("/dev/zero", folder / "zero.wav");
    std::filesystem::create_symlink("ring.wav", folder / "ring.wav");
    std::filesystem::create_directory(folder / "folder.wav");
    ASSERT_EQ(mkfifo((folder / "pipe.wav").c_str(), 0600), 0);
    EXPECT_THAT(skipLine(), HasSubstr("no usable categories"));
    log.clear();
    EXPECT_FALSE(load(folder));
    const std::string start = "[Morvel] Theme 'evil': could not load ";
    EXPECT_THAT(log.lines(), ElementsAre(start + "'zero.wav': not a regular file",
                                         start + "'pipe.wav': not a regular file",
                                         StartsWith(start + "'ring.wav': "),
                                         start + "'folder.wav': Is a directory"));
}

TEST_F(HostileThemeTest, FilesThatAreNoSoundAreSkippedWithOneLineEach) {
    const auto folder =
        popTheme(R"("gone.wav", "empty.wav", "cut.wav", "mute.wav", "text.wav", "fine.wav")");
    temporary.file("Themes/evil/empty.wav", "");
    temporary.file("Themes/evil/cut.wav", WavHeader{}.with("").substr(0, 20));
    temporary.file("Themes/evil/mute.wav", WavHeader{.channels = 0}.with("abcd"));
    temporary.file("Themes/evil/text.wav", "just a text file");
    temporary.file("Themes/evil/fine.wav",
                   WavHeader{.sampleRate = 384000, .dataBytes = 4000}.with(std::string(4000, 'x')));
    const auto theme = load(folder);
    ASSERT_TRUE(theme);
    EXPECT_EQ(theme.value()->categories().at(SoundCategory::pop).buffers.size(), 1u);
    EXPECT_EQ(log.lines().size(), 6u);
    for (std::size_t i = 0; i < 5; ++i)
        EXPECT_THAT(log.lines()[i], StartsWith("[Morvel] Theme 'evil': could not load "));
}

// Files are decoded side by side, and the library says in one place for all why it opened none.
TEST_F(HostileThemeTest, EachFileIsRefusedForItsOwnReasonInTheOrderOfTheManifest) {
    const std::string content[] = {"",
                                   "just a text file",
                                   WavHeader{}.with("").substr(0, 20),
                                   WavHeader{.channels = 0}.with("abcd"),
                                   "fLaC" + std::string(100, 'x'),
                                   "OggS" + std::string(100, 'x')};
    std::string variants;
    std::vector<std::string> names;
    for (std::size_t i = 0; i < 120; ++i) {
        names.push_back(std::to_string(i) + ".wav");
        variants += (i == 0 ? "\"" : ", \"") + names.back() + "\"";
    }
    const auto folder = popTheme(variants);
    std::vector<std::string> expected;
    for (std::size_t i = 0; i < names.size(); ++i) {
        temporary.file("Themes/evil/" + names[i], content[i % std::size(content)]);
        expected.push_back("[Morvel] Theme 'evil': could not load '" + names[i] +
                           "': " + SoundTheme::loadBuffer(folder / names[i]).error().description());
    }
    for (int time = 0; time < 10; ++time) {
        log.clear();
        ASSERT_FALSE(load(folder));
        EXPECT_THAT(log.lines(), testing::ElementsAreArray(expected));
    }
}

TEST_F(HostileThemeTest, TenThousandCategoriesLogOneLineEach) {
    std::string categories = R"({"fidget.pop": {"variants": ["a.wav"]})";
    for (int i = 0; i < 10000; ++i)
        categories += R"(, "category.)" + std::to_string(i) + R"(": {"variants": ["a.wav"]})";
    const auto folder = makeTheme(root, "evil", manifestWith(categories + "}"), {"a.wav"});
    ASSERT_EQ(catalog.discover().size(), 1u);
    EXPECT_THAT(log.lines(), IsEmpty());
    ASSERT_TRUE(load(folder));
    EXPECT_EQ(log.lines().size(), 10001u);
}

TEST_F(HostileThemeTest, AVeryLongSoundIsRefused) {
    const auto folder = popTheme(R"("long.wav")");
    writeWav(folder / "long.wav", {8000, 1}, std::vector<float>(8000 * 61));
    ASSERT_FALSE(load(folder));
    EXPECT_THAT(log.lines(), ElementsAre("[Morvel] Theme 'evil': could not load 'long.wav': longer "
                                         "than 60 seconds"));
}

TEST_F(HostileThemeTest, AThemeStopsDecodingAtItsBudget) {
    // 59 seconds each: the thirteenth passes 256 MiB of stereo.
    std::string variants;
    for (int i = 0; i < 16; ++i)
        variants += (i == 0 ? "\"" : ", \"") + std::to_string(i) + ".wav\"";
    const auto folder = popTheme(variants);
    writeWav(folder / "0.wav", {44100, 1}, std::vector<float>(44100 * 59, 0.1F));
    for (int i = 1; i < 16; ++i)
        std::filesystem::create_hard_link(folder / "0.wav", folder / (std::to_string(i) + ".wav"));
    const auto theme = load(folder);
    ASSERT_TRUE(theme);
    EXPECT_EQ(theme.value()->categories().at(SoundCategory::pop).buffers.size(), 12u);
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 5u);
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_EQ(lines[i], "[Morvel] Theme 'evil': could not load '" + std::to_string(12 + i) +
                                ".wav': the theme holds more than 256 MiB of audio");
}

TEST_F(HostileThemeTest, AVariantNameNeverEndsAtAZeroByte) {
    const auto folder = popTheme(R"("a.wav\u0000.txt")");
    writeClick(folder / "a.wav");
    EXPECT_THAT(skipLine(), HasSubstr("no usable categories"));
    EXPECT_FALSE(load(folder));
}

TEST_F(HostileThemeTest, ANameOfMegabytesMakesOneShortLine) {
    const auto folder = popTheme("\"" + std::string(900000, 'x') + "\"");
    ASSERT_FALSE(load(folder));
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_LT(log.lines().front().size(), 5000u);
}

TEST_F(HostileThemeTest, NamesWithBracesAndPercentSignsAreOnlyText) {
    const auto folder = makeTheme(root, "{} %s %n {0}", manifestWith(R"({"{1} %d": {}})"), {});
    EXPECT_FALSE(load(folder));
    EXPECT_THAT(log.lines(),
                ElementsAre("[Morvel] Theme '{} %s %n {0}': ignoring unknown category '{1} %d'"));
}

TEST_F(HostileThemeTest, AFolderWhoseNameIsNoTextIsSkipped) {
    makeMinimalTheme(root, "bad\xff name");
    EXPECT_EQ(skipLine(), "[Morvel] Skipping 'bad\xef\xbf\xbd name' in " + root.native() +
                              ": the folder's name is not valid UTF-8");
}

TEST_F(HostileThemeTest, LinksToDevicesAndRingsInTheThemesFolderArePassedOver) {
    std::filesystem::create_symlink("/dev/zero", root / "zero");
    std::filesystem::create_symlink("ring", root / "ring");
    std::filesystem::create_symlink("/nowhere", root / "gone");
    ASSERT_EQ(mkfifo((root / "pipe").c_str(), 0600), 0);
    EXPECT_THAT(catalog.discover(), IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(HostileThemeTest, ALinkBackToTheThemesFolderIsJustAFolderWithoutManifest) {
    std::filesystem::create_directory_symlink(root, root / "again");
    EXPECT_EQ(skipLine(),
              "[Morvel] Skipping 'again' in " + root.native() + ": No manifest.json in again");
}

} // namespace
} // namespace morvel
