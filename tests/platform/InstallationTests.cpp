#include "platform/linux/LinuxApplicationBundle.h"
#include "platform/linux/UserFolders.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <map>

namespace morvel {
namespace {

namespace fs = std::filesystem;

Environment variables(std::map<std::string, std::string> values) {
    return [values = std::move(values)](const std::string& name) -> std::optional<std::string> {
        const auto found = values.find(name);
        return found == values.end() ? std::nullopt : std::optional(found->second);
    };
}

const fs::path identityFile =
    "share/applications/" + std::string(applicationIdentifier) + ".desktop";

TEST(ApplicationBundle, AnInstalledCopyHasItsIdentityItsFolderAndItsThemes) {
    const TemporaryFolder prefix;
    const fs::path bundle = prefix / "lib/Morvel.app";
    writeText(bundle / identityFile, "[Desktop Entry]\n");
    fs::create_directories(bundle / "share/Sounds");
    const auto found = applicationBundle(bundle / "bin/morvel", "/source/Sounds");
    EXPECT_EQ(found.executable, bundle / "bin/morvel");
    EXPECT_EQ(found.path, bundle);
    EXPECT_EQ(found.identifier, applicationIdentifier);
    EXPECT_EQ(found.themes, bundle / "share/Sounds");
}

TEST(ApplicationBundle, ABundleWithoutItsIdentityFileHasNoIdentifier) {
    const TemporaryFolder prefix;
    fs::create_directories(prefix / "Morvel.app/bin");
    fs::create_directories(prefix / "Morvel.app" / identityFile); // a folder in its place
    const auto found = applicationBundle(prefix / "Morvel.app/bin/morvel", "/source/Sounds");
    EXPECT_EQ(found.path, prefix / "Morvel.app");
    EXPECT_EQ(found.identifier, std::nullopt);
    EXPECT_EQ(found.themes, "/source/Sounds");
}

TEST(ApplicationBundle, TheNearestFolderNamedAppIsTheBundle) {
    EXPECT_EQ(applicationBundle("/x/Outer.app/Inner.app/bin/morvel", {}).path,
              "/x/Outer.app/Inner.app");
}

TEST(ApplicationBundle, ACopyInABuildFolderIsLoose) {
    const auto found = applicationBundle("/home/me/build/app/morvel.app", "/home/me/Sounds");
    EXPECT_EQ(found.path, "/home/me/build/app");
    EXPECT_EQ(found.identifier, std::nullopt);
    EXPECT_EQ(found.themes, "/home/me/Sounds");
    EXPECT_EQ(applicationBundle("/morvel", {}).path, "/");
}

TEST(ApplicationBundle, AnUnknownExecutableIsNoBundle) {
    const auto found = applicationBundle(std::nullopt, std::nullopt);
    EXPECT_EQ(found.executable, std::nullopt);
    EXPECT_EQ(found.identifier, std::nullopt);
    EXPECT_EQ(found.themes, std::nullopt);
}

TEST(RunningExecutable, IsThisProgram) {
    EXPECT_EQ(runningExecutable(), fs::canonical("/proc/self/exe"));
    EXPECT_EQ(runningExecutable("/nowhere"), std::nullopt);
}

TEST(RunningExecutable, SurvivesTheReplacementOfItsFile) {
    const TemporaryFolder folder;
    fs::create_symlink(folder / "morvel (deleted)", folder / "gone");
    EXPECT_EQ(runningExecutable(folder / "gone"), folder / "morvel");
    writeText(folder / "morvel (deleted)", ""); // a program that is really called so
    EXPECT_EQ(runningExecutable(folder / "gone"), folder / "morvel (deleted)");
}

TEST(UserFolders, HomeIsTheVariableElseTheAccounts) {
    const auto account = [] { return std::optional<fs::path>("/from/account"); };
    EXPECT_EQ(homeFolder(variables({{"HOME", "/home/me"}}), account), "/home/me");
    EXPECT_EQ(homeFolder(variables({}), account), "/from/account");
    EXPECT_EQ(homeFolder(variables({{"HOME", ""}}), account), "/from/account");
    EXPECT_EQ(homeFolder(variables({{"HOME", "relative"}}), account), "/from/account");
    EXPECT_EQ(homeFolder(variables({}), [] { return std::optional<fs::path>(); }), "");
    ASSERT_TRUE(accountHome());
    EXPECT_TRUE(accountHome()->is_absolute());
}

TEST(UserFolders, ConfigurationIsTheVariableWhenAbsolute) {
    EXPECT_EQ(configurationFolder(variables({{"XDG_CONFIG_HOME", "/c"}}), "/home/me"), "/c");
    EXPECT_EQ(configurationFolder(variables({{"XDG_CONFIG_HOME", "c"}}), "/home/me"),
              "/home/me/.config");
    EXPECT_EQ(configurationFolder(variables({}), "/home/me"), "/home/me/.config");
}

TEST(UserFolders, AllowedRootsAreTheApplicationsFoldersThenTheUsualPrefixes) {
    const TemporaryFolder home;
    const auto paths = installationPaths(variables({}), home.path());
    EXPECT_EQ(paths.allowedRoots,
              (std::vector<fs::path>{"/Applications", home / "Applications", "/usr", "/usr/local",
                                     "/opt", home / ".local"}));
    EXPECT_EQ(paths.home, home.path());
    EXPECT_EQ(installationPaths(variables({{"XDG_CONFIG_HOME", "/nowhere"}}), "").allowedRoots,
              (std::vector<fs::path>{"/Applications", "/usr", "/usr/local", "/opt"}));
}

TEST(UserFolders, DownloadsAreWhatTheUsersFileNames) {
    const TemporaryFolder home;
    const auto downloads = [&](const std::string& text) {
        writeText(home / ".config/user-dirs.dirs", text);
        return installationPaths(variables({}), home.path()).downloads;
    };
    EXPECT_EQ(installationPaths(variables({}), home.path()).downloads, home / "Downloads");
    EXPECT_EQ(downloads("# note\nXDG_DESKTOP_DIR=\"$HOME/Desktop\"\n"
                        "  XDG_DOWNLOAD_DIR=\"$HOME/Téléchargements\"\n"),
              home / "Téléchargements");
    EXPECT_EQ(downloads("XDG_DOWNLOAD_DIR=\"/data/a \\\"b\\\"\""), "/data/a \"b\"");
    for (const char* useless : {"#XDG_DOWNLOAD_DIR=\"/x\"", "XDG_DOWNLOAD_DIR=\"relative\"",
                                "XDG_DOWNLOAD_DIR=\"$HOME/\"", "XDG_DOWNLOAD_DIR=\"/unfinished",
                                "XDG_DOWNLOAD_DIR=", "XDG_DOWNLOAD_DIR=\"\""})
        EXPECT_EQ(downloads(useless), home / "Downloads") << useless;
    EXPECT_EQ(downloads("XDG_DOWNLOAD_DIR=\"" + home.path().string() + "\""), home / "Downloads");
}

TEST(UserFolders, TheSystemsEnvironmentIsThisProcesss) {
    ASSERT_EQ(::setenv("MORVEL_TEST_VARIABLE", "x", 1), 0); // NOLINT(concurrency-mt-unsafe)
    EXPECT_EQ(systemEnvironment()("MORVEL_TEST_VARIABLE"), "x");
    EXPECT_EQ(systemEnvironment()("MORVEL_TEST_NOT_THERE"), std::nullopt);
}

} // namespace
} // namespace morvel
