#include "platform/ApplicationIdentifier.h"
#include "platform/linux/KeyboardAccess.h"
#include "platform/linux/LinuxApplicationBundle.h"
#include "platform/linux/SearchPath.h"
#include "tests/packaging/InstalledCopy.h"

#include <gmock/gmock.h>

#include <iterator>

namespace morvel {
namespace {

namespace fs = std::filesystem;

using test::InstalledCopy;
using test::Ran;
using test::run;
using testing::UnorderedElementsAre;

const std::string identifier{applicationIdentifier};

TEST_F(InstalledCopy, HasEveryFileThatItNeedsAndNoOther) {
    std::set<std::string> files;
    for (const std::string& file : filesBelow(prefix))
        if (!file.starts_with("lib/Morvel.app/share/Sounds/"))
            files.insert(file);
    const std::string icons = "share/icons/hicolor/";
    EXPECT_THAT(files,
                UnorderedElementsAre(
                    "bin/morvel", "lib/Morvel.app/bin/morvel",
                    "lib/Morvel.app/lib/morvel/morvel-windows.so",
                    "lib/Morvel.app/share/applications/" + identifier + ".desktop",
                    "libexec/morvel-keyboard-access",
                    "share/applications/" + identifier + ".desktop",
                    "share/metainfo/" + identifier + ".metainfo.xml",
                    "share/polkit-1/actions/" + identifier + ".policy",
                    "share/dbus-1/services/" + identifier + ".service",
                    icons + "scalable/apps/" + identifier + ".svg",
                    icons + "symbolic/apps/" + identifier + "-symbolic.svg",
                    icons + "symbolic/apps/morvel-dial-medium-symbolic.svg",
                    icons + "symbolic/apps/morvel-dial-medium-fill-symbolic.svg",
                    "share/man/man1/morvel.1.gz", "share/man/man8/morvel-keyboard-access.8.gz",
                    "share/doc/morvel/copyright", "share/doc/morvel/changelog.Debian.gz"));
}

TEST_F(InstalledCopy, HasEveryBuiltInThemeWithAllItsSounds) {
    const fs::path sounds = prefix / bundle / "share/Sounds";
    EXPECT_EQ(filesBelow(sounds), filesBelow(source / "resources/Sounds"));
    EXPECT_EQ(std::distance(fs::directory_iterator(sounds), {}), 6);
}

TEST_F(InstalledCopy, CanBeReadByEveryUserAndChangedByNone) {
    for (const auto& entry : fs::recursive_directory_iterator(prefix)) {
        if (entry.is_symlink())
            continue;
        const auto permissions = entry.status().permissions();
        const bool runs = entry.is_directory() || entry.path().filename() == "morvel" ||
                          entry.path().parent_path() == prefix / "libexec";
        EXPECT_EQ(permissions & fs::perms::others_read, fs::perms::others_read) << entry.path();
        EXPECT_EQ(permissions & fs::perms::others_write, fs::perms::none) << entry.path();
        if (runs) {
            EXPECT_EQ(permissions & fs::perms::others_exec, fs::perms::others_exec) << entry.path();
        }
    }
}

TEST_F(InstalledCopy, RunsByItsCommand) {
    const Ran version = run({prefix / "bin/morvel", "--version"});
    EXPECT_EQ(version.status, 0) << version.errors;
    EXPECT_EQ(version.output, "Morvel " MORVEL_VERSION "\n");
}

TEST_F(InstalledCopy, KnowsItsBundleItsIdentityAndItsThemesWhenStartedByItsCommand) {
    const auto found = applicationBundle(fs::canonical(prefix / "bin/morvel"), std::nullopt);
    EXPECT_EQ(found.path, prefix / bundle);
    EXPECT_EQ(found.identifier, identifier);
    EXPECT_EQ(found.themes, prefix / bundle / "share/Sounds");
}

TEST_F(InstalledCopy, HasTheSystemAskedForItsOwnProgramThatGivesAccessToTheKeyboards) {
    const auto isProgram = [](const fs::path& file) {
        return locatedProgram(file.string(), {}).has_value();
    };
    EXPECT_EQ(keyboardAccessProgram(fs::canonical(prefix / "bin/morvel"), isProgram),
              prefix / "libexec/morvel-keyboard-access");
}

TEST_F(InstalledCopy, StaysWholeWhenItsPrefixIsMoved) {
    const fs::path moved = folder / "elsewhere";
    fs::rename(prefix, moved);
    EXPECT_EQ(fs::canonical(moved / "bin/morvel"), moved / bundle / "bin/morvel");
    for (const std::string& file : filesBelow(moved))
        if (const fs::path path = moved / file; fs::is_symlink(path)) {
            EXPECT_TRUE(fs::read_symlink(path).is_relative()) << file;
            EXPECT_TRUE(fs::exists(path)) << file;
        }
    EXPECT_EQ(run({moved / "bin/morvel", "--version"}).status, 0);
}

TEST_F(InstalledCopy, OfOneVersionReplacesAnother) {
    writeText(prefix / bundle / "bin/morvel", "an older program");
    SetUp();
    EXPECT_EQ(run({prefix / "bin/morvel", "--version"}).status, 0);
}

} // namespace
} // namespace morvel
