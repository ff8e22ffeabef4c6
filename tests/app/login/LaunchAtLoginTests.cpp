#include "app/login/LaunchAtLogin.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/SimulatedLoginItem.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace morvel {
namespace {

namespace fs = std::filesystem;

using Lines = std::vector<std::string>;

class LaunchAtLoginTest : public testing::Test {
protected:
    LaunchAtLogin copyAt(const fs::path& path, std::optional<std::string> identifier = "x.y") {
        return {service_,
                {path / "bin/morvel", path, std::move(identifier), std::nullopt},
                {home_, home_ / "Downloads", {"/Applications", home_ / "Applications"}},
                log_};
    }

    std::string phraseAt(const fs::path& path) {
        const auto reason = copyAt(path).unavailability();
        if (!reason || !std::holds_alternative<OutsideAllowedFolders>(*reason))
            return "";
        return std::get<OutsideAllowedFolders>(*reason).locationPhrase;
    }

    TemporaryFolder folder_;
    fs::path home_ = folder_ / "home";
    SimulatedLoginItem service_;
    SimulatedLog log_;
};

TEST_F(LaunchAtLoginTest, IsAvailableDirectlyInTheApplicationsFolderOfTheSystemAndOfTheHome) {
    EXPECT_EQ(copyAt("/Applications/Morvel.app").unavailability(), std::nullopt);
    EXPECT_EQ(copyAt(home_ / "Applications/Morvel.app").unavailability(), std::nullopt);
    EXPECT_EQ(copyAt(home_ / "Applications/Tools/Morvel.app").unavailability(), std::nullopt);
}

TEST_F(LaunchAtLoginTest, RecognisesAnApplicationsFolderReachedThroughASymbolicLink) {
    fs::create_directories(home_ / "Applications/Morvel.app");
    fs::create_directory_symlink(home_ / "Applications", folder_ / "apps");
    EXPECT_EQ(copyAt(folder_ / "apps/Morvel.app").unavailability(), std::nullopt);
}

TEST_F(LaunchAtLoginTest, RecognisesACopyInTheTargetOfAnApplicationsFolderThatIsALink) {
    fs::create_directories(folder_ / "disk/Morvel.app");
    fs::create_directories(home_);
    fs::create_directory_symlink(folder_ / "disk", home_ / "Applications");
    EXPECT_EQ(copyAt(folder_ / "disk/Morvel.app").unavailability(), std::nullopt);
}

TEST_F(LaunchAtLoginTest, RefusesALinkInAnAllowedFolderToACopyElsewhere) {
    fs::create_directories(folder_ / "elsewhere/Morvel.app");
    fs::create_directories(home_ / "Applications");
    fs::create_directory_symlink(folder_ / "elsewhere/Morvel.app",
                                 home_ / "Applications/Morvel.app");
    EXPECT_EQ(phraseAt(home_ / "Applications/Morvel.app"),
              "running from outside your Applications folder");
}

TEST_F(LaunchAtLoginTest, DoesNotTakeAFolderWhoseNameOnlyBeginsLikeARootForTheRoot) {
    EXPECT_EQ(phraseAt("/Applications-old/Morvel.app"),
              "running from outside your Applications folder");
}

TEST_F(LaunchAtLoginTest, NamesADiskImageEvenWhenItHoldsABuildFolder) {
    EXPECT_EQ(phraseAt("/Volumes/Morvel/Morvel.app"), "running from a disk image");
    EXPECT_EQ(phraseAt("/Volumes/Morvel/.build/Morvel.app"), "running from a disk image");
}

TEST_F(LaunchAtLoginTest, NamesABuildFolderEvenInDownloads) {
    EXPECT_EQ(phraseAt(home_ / "Downloads/x/.build/Morvel.app"), "running from a build folder");
}

TEST_F(LaunchAtLoginTest, NamesTheDownloadsFolderAlsoThroughALink) {
    fs::create_directories(folder_ / "disk/Morvel.app");
    fs::create_directories(home_);
    fs::create_directory_symlink(folder_ / "disk", home_ / "Downloads");
    EXPECT_EQ(phraseAt(folder_ / "disk/Morvel.app"), "running from your Downloads folder");
    EXPECT_EQ(phraseAt(home_ / "Downloads/Morvel.app"), "running from your Downloads folder");
    EXPECT_EQ(phraseAt(home_ / "Downloads-2/Morvel.app"),
              "running from outside your Applications folder");
}

TEST_F(LaunchAtLoginTest, WithoutAKnownDownloadsFolderNothingIsTakenForIt) {
    const LaunchAtLogin login(service_, {{}, "/srv/Morvel.app", "x.y", {}}, {}, log_);
    EXPECT_EQ(login.unavailability(), Unavailability(OutsideAllowedFolders{
                                          "running from outside your Applications folder"}));
}

TEST_F(LaunchAtLoginTest, APlainExecutableCannotEnableItAndSaysThatItIsLoose) {
    service_.current = LoginItemStatus::enabled;
    LaunchAtLogin login = copyAt(home_ / "Applications", std::nullopt);
    EXPECT_FALSE(login.setEnabled(true));
    EXPECT_FALSE(login.isEnabled());
    EXPECT_EQ(service_.registrations, 0);
    EXPECT_EQ(log_.lines(), Lines{"[Morvel] Launch at login unavailable: no .app bundle identity"});
    EXPECT_EQ(login.statusDescription(),
              "Unavailable — Morvel is running as a loose executable, not an .app bundle. A "
              "distribution build can register itself.");
}

TEST_F(LaunchAtLoginTest, AnIdentifiedFolderNotNamedAppIsNoBundle) {
    EXPECT_EQ(copyAt(home_ / "Applications/Morvel").unavailability(),
              Unavailability(NotAnApplicationBundle{}));
}

TEST_F(LaunchAtLoginTest, ARefusalForTheLocationNamesThePhraseAndTheResolvedPath) {
    fs::create_directories(folder_ / "disk/Morvel.app");
    fs::create_directory_symlink(folder_ / "disk", folder_ / "link");
    LaunchAtLogin login = copyAt(folder_ / "link/Morvel.app");
    EXPECT_FALSE(login.setEnabled(true));
    EXPECT_EQ(service_.registrations, 0);
    EXPECT_EQ(log_.lines(),
              Lines{"[Morvel] Launch at login refused: running from outside your Applications "
                    "folder (" +
                    (folder_ / "disk/Morvel.app").string() + ") — install to /Applications first"});
    EXPECT_EQ(login.statusDescription(),
              "Morvel is running from outside your Applications folder, and a login item there "
              "would not survive a restart. Move Morvel to your Applications folder to enable "
              "this.");
}

TEST_F(LaunchAtLoginTest, EnablesAndDisables) {
    LaunchAtLogin login = copyAt("/Applications/Morvel.app");
    EXPECT_TRUE(login.setEnabled(true));
    EXPECT_TRUE(login.isEnabled());
    EXPECT_TRUE(login.setEnabled(false));
    EXPECT_FALSE(login.isEnabled());
    EXPECT_EQ(service_.registrations, 1);
    EXPECT_EQ(service_.unregistrations, 1);
    EXPECT_EQ(log_.lines(),
              (Lines{"[Morvel] Launch at login -> enabled (status now enabled)",
                     "[Morvel] Launch at login -> disabled (status now not registered)"}));
}

TEST_F(LaunchAtLoginTest, EnablingWhenEnabledSendsNothingLogsTheOutcomeAndAnswersTrue) {
    service_.current = LoginItemStatus::enabled;
    EXPECT_TRUE(copyAt("/Applications/Morvel.app").setEnabled(true));
    EXPECT_EQ(service_.registrations, 0);
    EXPECT_EQ(log_.lines(), Lines{"[Morvel] Launch at login -> enabled (status now enabled)"});
}

TEST_F(LaunchAtLoginTest, DisablingWhatIsNotOnSendsNothing) {
    service_.current = LoginItemStatus::requiresApproval;
    EXPECT_TRUE(copyAt("/Applications/Morvel.app").setEnabled(false));
    EXPECT_EQ(service_.unregistrations, 0);
    EXPECT_EQ(log_.lines(),
              Lines{"[Morvel] Launch at login -> disabled (status now requires approval)"});
}

TEST_F(LaunchAtLoginTest, ARegistrationThatNeedsApprovalAnswersFalse) {
    service_.afterRegistration = LoginItemStatus::requiresApproval;
    EXPECT_FALSE(copyAt("/Applications/Morvel.app").setEnabled(true));
    EXPECT_EQ(service_.registrations, 1);
    EXPECT_EQ(log_.lines(),
              Lines{"[Morvel] Launch at login -> enabled (status now requires approval)"});
}

TEST_F(LaunchAtLoginTest, AFailedChangeIsOneLineAndAnswersFalse) {
    service_.error = "the folder is read-only";
    EXPECT_FALSE(copyAt("/Applications/Morvel.app").setEnabled(true));
    service_.current = LoginItemStatus::enabled;
    EXPECT_FALSE(copyAt("/Applications/Morvel.app").setEnabled(false));
    EXPECT_EQ(log_.lines(),
              (Lines{"[Morvel] Launch at login change failed: the folder is read-only",
                     "[Morvel] Launch at login change failed: the folder is read-only"}));
}

TEST_F(LaunchAtLoginTest, DescribesEveryStatusOfTheService) {
    const LaunchAtLogin login = copyAt("/Applications/Morvel.app");
    const auto description = [&](LoginItemStatus status) {
        service_.current = status;
        return login.statusDescription();
    };
    EXPECT_EQ(description(LoginItemStatus::notRegistered), "Morvel will not start automatically.");
    EXPECT_EQ(description(LoginItemStatus::enabled), "Morvel will start when you log in.");
    EXPECT_EQ(description(LoginItemStatus::requiresApproval),
              "Approval needed in System Settings > General > Login Items.");
    EXPECT_EQ(description(LoginItemStatus::notFound), "The login item could not be found.");
    EXPECT_EQ(description(static_cast<LoginItemStatus>(7)), "Unknown login item state.");
}

} // namespace
} // namespace morvel
