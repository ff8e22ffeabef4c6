#include "platform/linux/XdgLoginItem.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace morvel {
namespace {

namespace fs = std::filesystem;

class XdgLoginItemTest : public testing::Test {
protected:
    void SetUp() override { writeProgram(program_); }
    XdgLoginItem item() {
        return XdgLoginItem({folder_ / "config/autostart", "app.x", program_, searchPath_});
    }
    LoginItemStatus statusOf(const std::string& text) {
        writeText(file_, text);
        return item().status();
    }
    std::string entry(const std::string& more = "") {
        return "[Desktop Entry]\nType=Application\nName=Morvel\nExec=" + program_.string() + "\n" +
               more;
    }

    TemporaryFolder folder_;
    fs::path file_ = folder_ / "config/autostart/app.x.desktop";
    fs::path program_ = folder_ / "apps/morvel";
    std::string searchPath_;
};

TEST_F(XdgLoginItemTest, WithoutAnEntryItIsNotRegistered) {
    EXPECT_EQ(item().status(), LoginItemStatus::notRegistered);
}

TEST_F(XdgLoginItemTest, RegisteringEnablesAndUnregisteringRemovesTheEntry) {
    EXPECT_EQ(item().registerItem(), std::nullopt);
    EXPECT_EQ(item().status(), LoginItemStatus::enabled);
    EXPECT_EQ(readText(file_), "[Desktop Entry]\nType=Application\nName=Morvel\nIcon=app.x\nExec=" +
                                   program_.string() + "\nTryExec=" + program_.string() + "\n");
    EXPECT_EQ(item().unregisterItem(), std::nullopt);
    EXPECT_EQ(item().status(), LoginItemStatus::notRegistered);
    EXPECT_FALSE(fs::exists(file_));
    EXPECT_EQ(item().unregisterItem(), std::nullopt);
}

TEST_F(XdgLoginItemTest, FindsItselfAgainUnderAnyPath) {
    for (const char* name :
         {"with space", "quo\"te", "dol$lar", "back\\slash", "per%cent", "%%U", "tick`", "it's",
          "line\nbreak", "tab\there", "\\\\n", "semi;colon & more", "ünï", "#hash", "~"}) {
        program_ = folder_ / name / "morvel";
        writeProgram(program_);
        EXPECT_EQ(item().registerItem(), std::nullopt) << name;
        EXPECT_EQ(item().status(), LoginItemStatus::enabled) << name;
    }
}

TEST_F(XdgLoginItemTest, WritesADollarAndABackslashWithBothLevelsOfEscapes) {
    program_ = folder_ / "a$b\\c/morvel";
    writeProgram(program_);
    EXPECT_EQ(item().registerItem(), std::nullopt);
    EXPECT_NE(readText(file_).find("Exec=\"" + folder_.path().string() +
                                   R"(/a\\$b\\\\c/morvel")"
                                   "\n"),
              std::string::npos)
        << readText(file_);
}

TEST_F(XdgLoginItemTest, AnEntrySwitchedOffByTheDesktopRequiresApproval) {
    for (const char* line : {"Hidden=true", "Hidden = true", "X-GNOME-Autostart-enabled=false",
                             "X-MATE-Autostart-enabled=false"})
        EXPECT_EQ(statusOf(entry(line)), LoginItemStatus::requiresApproval) << line;
    for (const char* line : {"Hidden=false", "X-GNOME-Autostart-enabled=true", "# Hidden=true",
                             "[Desktop Action x]\nHidden=true"})
        EXPECT_EQ(statusOf(entry(line)), LoginItemStatus::enabled) << line;
}

TEST_F(XdgLoginItemTest, RegisteringKeepsTheUsersSwitchAndOtherLines) {
    writeText(file_, entry("Name[de]=Klang\nX-GNOME-Autostart-Delay=5\nHidden=true\n"));
    EXPECT_EQ(item().registerItem(), std::nullopt);
    EXPECT_EQ(item().status(), LoginItemStatus::requiresApproval);
    const std::string text = readText(file_);
    EXPECT_NE(text.find("Name[de]=Klang\nX-GNOME-Autostart-Delay=5\nHidden=true\n"),
              std::string::npos);
}

TEST_F(XdgLoginItemTest, AnEntryWhoseProgramIsGoneIsNotFoundAndRegisteringRepairsIt) {
    EXPECT_EQ(statusOf("[Desktop Entry]\nType=Application\nExec=/nowhere/morvel\n"),
              LoginItemStatus::notFound);
    EXPECT_EQ(statusOf(entry("TryExec=/nowhere/morvel")), LoginItemStatus::notFound);
    EXPECT_EQ(item().registerItem(), std::nullopt);
    EXPECT_EQ(item().status(), LoginItemStatus::enabled);
}

TEST_F(XdgLoginItemTest, AProgramThatMayNotBeRunIsNotFound) {
    fs::permissions(program_, fs::perms::owner_read);
    EXPECT_EQ(statusOf(entry()), LoginItemStatus::notFound);
}

TEST_F(XdgLoginItemTest, AnEntryOfAnotherProgramIsNotRegistered) {
    writeProgram(folder_ / "apps/other");
    EXPECT_EQ(statusOf("[Desktop Entry]\nType=Application\nExec=" +
                       (folder_ / "apps/other").string() + "\n"),
              LoginItemStatus::notRegistered);
}

TEST_F(XdgLoginItemTest, RecognisesItselfThroughALinkAndByNameAlone) {
    fs::create_symlink(program_, folder_ / "link");
    EXPECT_EQ(
        statusOf("[Desktop Entry]\nType=Application\nExec=" + (folder_ / "link").string() + "\n"),
        LoginItemStatus::enabled);
    searchPath_ = ":relative:/nowhere:" + (folder_ / "apps").string();
    EXPECT_EQ(statusOf("[Desktop Entry]\nType=Application\nExec=morvel --tray\nTryExec=morvel\n"),
              LoginItemStatus::enabled);
    searchPath_ = "";
    EXPECT_EQ(item().status(), LoginItemStatus::notFound);
}

TEST_F(XdgLoginItemTest, AnEntryThatCannotBeReadIsNotFound) {
    EXPECT_EQ(statusOf("garbage"), LoginItemStatus::notFound);
    EXPECT_EQ(statusOf(""), LoginItemStatus::notFound);
    EXPECT_EQ(statusOf("[Desktop Entry]\nType=Application\n"), LoginItemStatus::notFound);
    EXPECT_EQ(statusOf("[Desktop Entry]\nType=Link\nExec=" + program_.string()),
              LoginItemStatus::notFound);
    EXPECT_EQ(statusOf(entry(std::string(1 << 20, '#'))), LoginItemStatus::notFound);
    fs::remove(file_);
    ASSERT_EQ(::mkfifo(file_.c_str(), 0600), 0);
    EXPECT_EQ(item().status(), LoginItemStatus::notFound);
    EXPECT_EQ(item().registerItem(), std::nullopt);
    EXPECT_EQ(item().status(), LoginItemStatus::enabled);
}

TEST_F(XdgLoginItemTest, ErrorsAreValuesWithText) {
    writeText(folder_ / "config", "a file in the folder's place");
    EXPECT_EQ(item().registerItem(), (folder_ / "config").string() + ": Not a directory");
    fs::remove(folder_ / "config");
    fs::create_directories(file_ / "inside");
    EXPECT_NE(item().registerItem(), std::nullopt);
    EXPECT_EQ(item().unregisterItem(), file_.string() + ": Is a directory");
    EXPECT_EQ(item().status(), LoginItemStatus::notFound);
}

TEST_F(XdgLoginItemTest, KeepsAnEntryThatIsALink) {
    writeText(folder_ / "dotfiles/entry", entry("Hidden=false\n"));
    fs::create_directories(file_.parent_path());
    fs::create_symlink(folder_ / "dotfiles/entry", file_);
    EXPECT_EQ(item().registerItem(), std::nullopt);
    EXPECT_TRUE(fs::is_symlink(file_));
    EXPECT_NE(readText(folder_ / "dotfiles/entry").find("TryExec="), std::string::npos);
}

} // namespace
} // namespace morvel
