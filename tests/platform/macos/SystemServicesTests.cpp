// Trust, login item, processes, bundle, folders, places, clock, posted keys.

#include "platform/macos/AccessibilityTrustSource.h"
#include "platform/macos/AppServiceLoginItem.h"
#include "platform/macos/EventKeyPoster.h"
#include "platform/macos/HostClock.h"
#include "platform/macos/LibprocProcessTable.h"
#include "platform/macos/MacApplicationBundle.h"
#include "platform/macos/MacDesktopPlaces.h"
#include "platform/macos/MacFolders.h"
#include "tests/platform/macos/FakeMac.h"
#include "tests/support/TemporaryFolder.h"

namespace morvel {
namespace {

using Calls = std::vector<std::string>;
using Motion = KeyEventPoster::Motion;

class AccessibilityTrustSourceTest : public MacTest {};

TEST_F(AccessibilityTrustSourceTest, TellsThePlainTruthWithoutAPrompt) {
    AccessibilityTrustSource trust;
    EXPECT_FALSE(trust.isTrusted());
    mac_.trusted = true;
    EXPECT_TRUE(trust.isTrusted());
    EXPECT_EQ(mac_.prompts, 0);
}

TEST_F(AccessibilityTrustSourceTest, PromptsWithThePromptOptionAndAnswersTheTrustOfThatInstant) {
    AccessibilityTrustSource trust;
    EXPECT_FALSE(trust.prompt());
    mac_.trusted = true;
    EXPECT_TRUE(trust.prompt());
    EXPECT_EQ(mac_.prompts, 2);
}

class AppServiceLoginItemTest : public MacTest {
protected:
    AppServiceLoginItem item_;
};

TEST_F(AppServiceLoginItemTest, TellsEachOfTheFourStates) {
    for (const auto status : {LoginItemStatus::notRegistered, LoginItemStatus::enabled,
                              LoginItemStatus::requiresApproval, LoginItemStatus::notFound}) {
        mac_.answers["status"] = static_cast<std::uintptr_t>(status);
        EXPECT_EQ(item_.status(), status);
    }
}

TEST_F(AppServiceLoginItemTest, AStateThatIsNotKnownIsNoItem) {
    for (const long status : {-1L, 4L, 257L}) {
        mac_.answers["status"] = static_cast<std::uintptr_t>(status);
        EXPECT_EQ(item_.status(), LoginItemStatus::notFound);
    }
}

TEST_F(AppServiceLoginItemTest, RegistersAndUnregistersTheApplicationItself) {
    EXPECT_EQ(item_.registerItem(), std::nullopt);
    EXPECT_EQ(item_.unregisterItem(), std::nullopt);
    EXPECT_EQ(mac_.calls,
              (Calls{"[SMAppService mainAppService]", "[service registerAndReturnError:]",
                     "[SMAppService mainAppService]", "[service unregisterAndReturnError:]"}));
}

TEST_F(AppServiceLoginItemTest, AServiceErrorIsAnsweredInTheSystemsWords) {
    mac_.error = "Operation not permitted";
    EXPECT_EQ(item_.registerItem(), "Operation not permitted");
    mac_.error = "No such item";
    EXPECT_EQ(item_.unregisterItem(), "No such item");
}

TEST_F(AppServiceLoginItemTest, AServiceErrorWithoutWordsIsAnErrorAllTheSame) {
    mac_.error = "";
    mac_.errorSaysNothing = true;
    EXPECT_EQ(item_.registerItem(), "the system gave no reason");
}

TEST_F(AppServiceLoginItemTest, ASystemWithoutTheServiceFindsNoItemAndRegistersNone) {
    mac_.missingClasses = {"SMAppService"};
    EXPECT_EQ(item_.status(), LoginItemStatus::notFound);
    EXPECT_TRUE(item_.registerItem());
    EXPECT_TRUE(item_.unregisterItem());
}

class LibprocProcessTableTest : public MacTest {
protected:
    LibprocProcessTable table_;
};

TEST_F(LibprocProcessTableTest, TellsPathAndParent) {
    mac_.processes[42] = {"/bin/zsh", 7};
    EXPECT_EQ(table_.executablePath(42), "/bin/zsh");
    EXPECT_EQ(table_.parentPid(42), 7);
}

TEST_F(LibprocProcessTableTest, TellsNothingOfAProcessThatIsGone) {
    EXPECT_EQ(table_.executablePath(42), std::nullopt);
    EXPECT_EQ(table_.parentPid(42), std::nullopt);
}

TEST_F(LibprocProcessTableTest, AShortAnswerTellsNoParent) {
    for (const int bytes : {-1, 0, 64, 135}) {
        mac_.processes[42] = {"/bin/zsh", 7, bytes};
        EXPECT_EQ(table_.parentPid(42), std::nullopt) << bytes;
    }
}

TEST_F(LibprocProcessTableTest, RepairsAPathThatIsNoUtf8AndTakesTheLongestOne) {
    mac_.processes[42] = {"/bin/\xff", 7};
    EXPECT_EQ(table_.executablePath(42), "/bin/\uFFFD");
    mac_.processes[42] = {std::string(5000, 'x'), 7};
    EXPECT_EQ(table_.executablePath(42), std::string(4096, 'x'));
}

class MacApplicationBundleTest : public MacTest {};

TEST_F(MacApplicationBundleTest, AnInstalledCopyHasIdentifierAndThemes) {
    const TemporaryFolder folder;
    folder.folder("Resources");
    folder.folder("Resources/Sounds");
    mac_.bundlePath = "/Applications/Morvel.app";
    mac_.executablePath = "/Applications/Morvel.app/Contents/MacOS/morvel";
    mac_.resourcesPath = (folder / "Resources").string();
    mac_.bundleIdentifier = "app.morvel.Morvel";
    const ApplicationBundle bundle = mainBundle("/source/Sounds");
    EXPECT_EQ(bundle.path, "/Applications/Morvel.app");
    EXPECT_EQ(bundle.executable, "/Applications/Morvel.app/Contents/MacOS/morvel");
    EXPECT_EQ(bundle.identifier, "app.morvel.Morvel");
    EXPECT_EQ(bundle.themes, folder / "Resources" / "Sounds");
}

TEST_F(MacApplicationBundleTest, ALooseExecutableHasNoIdentifierAndTheThemesOfTheSources) {
    mac_.bundlePath = "/build/app";
    mac_.executablePath = "/build/app/morvel";
    mac_.resourcesPath = "/build/app";
    const ApplicationBundle bundle = mainBundle("/source/Sounds");
    EXPECT_EQ(bundle.identifier, std::nullopt);
    EXPECT_EQ(bundle.path, "/build/app");
    EXPECT_EQ(bundle.themes, "/source/Sounds");
}

TEST_F(MacApplicationBundleTest, ASystemThatTellsNothingIsBorne) {
    mac_.hasBundle = false;
    EXPECT_EQ(mainBundle(std::nullopt).executable, std::nullopt);
    mac_.hasBundle = true;
    EXPECT_EQ(mainBundle(std::nullopt).path, "");
}

class MacFoldersTest : public MacTest {};

TEST_F(MacFoldersTest, AreBelowTheHomeFolderThatTheSystemWritesAsATilde) {
    mac_.folders = {{14, "~/Library/Application Support"}, {15, "~/Downloads"}};
    EXPECT_EQ(applicationSupportFolder("/Users/ada"), "/Users/ada/Library/Application Support");
    const InstallationPaths paths = installationPaths("/Users/ada");
    EXPECT_EQ(paths.downloads, "/Users/ada/Downloads");
    EXPECT_EQ(paths.allowedRoots,
              (std::vector<std::filesystem::path>{"/Applications", "/Users/ada/Applications"}));
}

TEST_F(MacFoldersTest, AreWhereTheSystemSaysElsewhere) {
    mac_.folders = {{14, "/Volumes/Support"}};
    EXPECT_EQ(applicationSupportFolder("/Users/ada"), "/Volumes/Support");
    EXPECT_EQ(installationPaths("").downloads, "");
}

TEST_F(MacFoldersTest, ApplicationSupportIsInTheLibraryWhereTheSystemNamesNone) {
    EXPECT_EQ(applicationSupportFolder("/Users/ada"), "/Users/ada/Library/Application Support");
}

class MacDesktopPlacesTest : public MacTest {
protected:
    DesktopPlaces::Otherwise otherwise() {
        return [this](const HelpPage& page) { pages_.push_back(page); };
    }

    MacDesktopPlaces places_;
    std::vector<HelpPage> pages_;
};

TEST_F(MacDesktopPlacesTest, OpensTheTwoPanesAndTheFolder) {
    places_.openAccessibilitySettings(otherwise());
    places_.openLoginItems(otherwise());
    places_.reveal("/Users/ada/Themes", otherwise());
    EXPECT_EQ(
        mac_.opened,
        (Calls{"x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility",
               "x-apple.systempreferences:com.apple.LoginItems-Settings.extension",
               "file:/Users/ada/Themes/"}));
    EXPECT_TRUE(pages_.empty());
    EXPECT_EQ(places_.systemName(), "macOS");
}

TEST_F(MacDesktopPlacesTest, AServiceErrorLeadsToWordsInstead) {
    mac_.openStatus = -10814;
    places_.openAccessibilitySettings(otherwise());
    places_.openLoginItems(otherwise());
    places_.reveal("/Users/ada/Themes", otherwise());
    EXPECT_EQ(pages_,
              (std::vector<HelpPage>{
                  {"Accessibility",
                   "System Settings did not open. Morvel's switch is there under Privacy & "
                   "Security > Accessibility.",
                   ""},
                  {"Login Items",
                   "System Settings did not open. What starts at login is listed there under "
                   "General > Login Items.",
                   ""},
                  {"Themes Folder", "The Finder did not open the folder:", "/Users/ada/Themes"}}));
}

class HostClockTest : public MacTest {};

TEST_F(HostClockTest, TurnsTicksIntoNanosecondsWithoutOverflow) {
    mac_.numerator = 125;
    mac_.denominator = 3;
    const HostClock clock;
    mac_.ticks = 24000000;
    EXPECT_EQ(clock.hostNanos(), 1000000000U);
    EXPECT_DOUBLE_EQ(clock.now(), 1.0);
    mac_.ticks = std::uint64_t{24000000} * 86400 * 3650; // ten years
    EXPECT_EQ(clock.hostNanos(), std::uint64_t{1000000000} * 86400 * 3650);
}

TEST_F(HostClockTest, ARatioThatTheSystemDoesNotTellIsOne) {
    mac_.denominator = 0;
    const HostClock clock;
    mac_.ticks = 17;
    EXPECT_EQ(clock.hostNanos(), 17U);
}

class EventKeyPosterTest : public MacTest {};

TEST_F(EventKeyPosterTest, PostsAPressItsRepeatAndItsRelease) {
    EventKeyPoster poster;
    EXPECT_TRUE(poster.post(f13KeyCode, Motion::down));
    EXPECT_TRUE(poster.post(f13KeyCode, Motion::repeat));
    EXPECT_TRUE(poster.post(f13KeyCode, Motion::up));
    EXPECT_EQ(mac_.posted, (std::vector<FakeMac::Posted>{
                               {0, 105, true, 0}, {0, 105, true, 1}, {0, 105, false, 0}}));
}

TEST_F(EventKeyPosterTest, PostsNoMotionThatDoesNotFollow) {
    EventKeyPoster poster;
    EXPECT_FALSE(poster.post(f13KeyCode, Motion::repeat));
    EXPECT_FALSE(poster.post(f13KeyCode, Motion::up));
    EXPECT_FALSE(poster.post(-1, Motion::down));
    EXPECT_FALSE(poster.post(128, Motion::down));
    EXPECT_TRUE(mac_.posted.empty());
}

TEST_F(EventKeyPosterTest, AnEventThatTheSystemDoesNotMakeIsNotPosted) {
    EventKeyPoster poster;
    mac_.refusesEvents = true;
    EXPECT_FALSE(poster.post(f13KeyCode, Motion::down));
    EXPECT_TRUE(mac_.posted.empty());
}

TEST_F(EventKeyPosterTest, ItsEndLetsGoOfTheKeys) {
    {
        EventKeyPoster poster;
        ASSERT_TRUE(poster.post(f13KeyCode, Motion::down));
    }
    EXPECT_EQ(mac_.posted.back(), (FakeMac::Posted{0, 105, false, 0}));
}

} // namespace
} // namespace morvel
