#include "platform/linux/access/RuleFile.h"
#include "tests/platform/access/AccessFixture.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>

namespace morvel {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class RuleFileTest : public test::AccessFixture {};

// Writes of this process fail beyond so many bytes.
class LargestFile {
public:
    explicit LargestFile(rlim_t bytes)
        : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit now{bytes, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &now);
    }
    ~LargestFile() {
        setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }
    LargestFile(const LargestFile&) = delete;
    LargestFile& operator=(const LargestFile&) = delete;

private:
    sighandler_t handler_;
    rlimit before_{};
};

TEST_F(RuleFileTest, IsExactlyTheRuleAndReadableByAll) {
    ASSERT_EQ(writeKeyboardRule(root_.path()), std::nullopt);
    EXPECT_EQ(readText(rule_), keyboardRuleText());
    EXPECT_THAT(names(), ElementsAre("70-app.morvel.Morvel-keyboards.rules"));
    struct stat status {};
    ASSERT_EQ(stat(rule_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, static_cast<mode_t>(S_IFREG | 0644));
    EXPECT_EQ(status.st_uid, geteuid());
    EXPECT_EQ(status.st_gid, getegid());
}

TEST_F(RuleFileTest, TagsKeyboardsAndNothingElse) {
    std::string rules;
    for (std::string_view rest = keyboardRuleText(); !rest.empty();
         rest.remove_prefix(rest.find('\n') + 1))
        if (!rest.starts_with('#'))
            rules += rest.substr(0, rest.find('\n') + 1);
    EXPECT_EQ(rules, "ACTION!=\"remove\", SUBSYSTEM==\"input\", KERNEL==\"event*\", "
                     "ENV{ID_INPUT_KEYBOARD}==\"1\", TAG+=\"uaccess\"\n");
}

// The rules of a number below find out what a keyboard is; 73-seat-late.rules acts on the tag.
TEST_F(RuleFileTest, ComesBetweenTheRulesThatKnowKeyboardsAndThoseThatGiveAccess) {
    EXPECT_GT(keyboardRuleName(), "60-input-id.rules");
    EXPECT_LT(keyboardRuleName(), "73-seat-late.rules");
}

TEST_F(RuleFileTest, IsReadableByAllWhateverTheMaskAndTheFoldersGroup) {
    fs::permissions(rules_, fs::perms::set_gid, fs::perm_options::add);
    const mode_t before = umask(0777);
    const AccessProblem problem = writeKeyboardRule(root_.path());
    umask(before);
    ASSERT_EQ(problem, std::nullopt);
    struct stat status {};
    ASSERT_EQ(stat(rule_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0644U);
    EXPECT_EQ(status.st_gid, getegid());
}

TEST_F(RuleFileTest, ThatIsThereAlreadyIsLeftAsItIs) {
    ASSERT_EQ(writeKeyboardRule(root_.path()), std::nullopt);
    struct stat before {};
    struct stat after {};
    ASSERT_EQ(stat(rule_.c_str(), &before), 0);
    ASSERT_EQ(writeKeyboardRule(root_.path()), std::nullopt);
    ASSERT_EQ(stat(rule_.c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(readText(rule_), keyboardRuleText());
}

TEST_F(RuleFileTest, IsRemovedAndNothingElse) {
    writeText(rules_ / "99-other.rules", "# another\n");
    ASSERT_EQ(writeKeyboardRule(root_.path()), std::nullopt);
    EXPECT_EQ(removeKeyboardRule(root_.path()), std::nullopt);
    EXPECT_THAT(names(), ElementsAre("99-other.rules"));
    EXPECT_EQ(removeKeyboardRule(root_.path()), std::nullopt);
}

// Whoever changes the rule's text adds the new one here, at the front, and there: systems that were
// given the access with an earlier one still have that.
TEST_F(RuleFileTest, IsOursWithEveryTextThatWasEverShipped) {
    constexpr std::array<std::string_view, 1> shipped = {
        "# Lets the person at the seat, and so every program of theirs, read its keyboards.\n"
        "# Written by Morvel; \"morvel-keyboard-access --revoke\" takes it back.\n"
        "ACTION!=\"remove\", SUBSYSTEM==\"input\", KERNEL==\"event*\", "
        "ENV{ID_INPUT_KEYBOARD}==\"1\", TAG+=\"uaccess\"\n"};
    const auto known = keyboardRuleTexts();
    EXPECT_THAT(std::vector<std::string_view>(known.begin(), known.end()),
                testing::ElementsAreArray(shipped));
    EXPECT_EQ(keyboardRuleText(), shipped.front());
    for (const std::string_view text : shipped) {
        writeText(rule_, text);
        EXPECT_EQ(removeKeyboardRule(root_.path()), std::nullopt);
        EXPECT_THAT(names(), IsEmpty());
    }
}

TEST_F(RuleFileTest, OfAnEarlierTextIsReplacedAndTakenBack) {
    constexpr std::array<std::string_view, 3> texts = {"# new\n", "# old, and longer\n", "# new"};
    for (const std::string_view earlier : {texts[1], texts[2]}) {
        writeText(rule_, earlier);
        EXPECT_EQ(writeRule(root_.path(), texts), std::nullopt);
        EXPECT_EQ(readText(rule_), texts.front());
        EXPECT_EQ(names().size(), 1U);
        writeText(rule_, earlier);
        EXPECT_EQ(removeRule(root_.path(), texts), std::nullopt);
        EXPECT_THAT(names(), IsEmpty());
    }
    writeText(rule_, "# old");
    EXPECT_TRUE(writeRule(root_.path(), texts));
    EXPECT_TRUE(removeRule(root_.path(), texts));
    EXPECT_EQ(readText(rule_), "# old");
}

TEST_F(RuleFileTest, OfAnotherContentIsLeftAloneAndTold) {
    for (const std::string& content :
         {std::string("# mine\n"), std::string(), std::string(keyboardRuleText()) + "# more\n",
          std::string(keyboardRuleText().substr(1)), std::string(100000, 'x')}) {
        writeText(rule_, content);
        for (const auto& change : {writeKeyboardRule, removeKeyboardRule}) {
            const AccessProblem problem = change(root_.path());
            ASSERT_TRUE(problem);
            EXPECT_THAT(*problem, HasSubstr(rule_.string()));
            EXPECT_THAT(*problem, HasSubstr("left alone"));
            EXPECT_EQ(readText(rule_), content);
            EXPECT_EQ(names().size(), 1U);
        }
    }
}

TEST_F(RuleFileTest, IsNoLinkFolderOrPipe) {
    const fs::path target = root_.file("target", keyboardRuleText());
    const auto isLeftAlone = [this] {
        for (const auto& change : {writeKeyboardRule, removeKeyboardRule}) {
            const AccessProblem problem = change(root_.path());
            ASSERT_TRUE(problem);
            EXPECT_THAT(*problem, HasSubstr("not a regular file"));
            EXPECT_EQ(names().size(), 1U);
        }
    };
    fs::create_symlink(target, rule_);
    isLeftAlone();
    EXPECT_TRUE(fs::is_symlink(rule_));
    EXPECT_EQ(readText(target), keyboardRuleText());
    fs::remove(rule_);
    fs::create_symlink(root_ / "nowhere", rule_);
    isLeftAlone();
    EXPECT_FALSE(fs::exists(root_ / "nowhere"));
    fs::remove(rule_);
    fs::create_directory(rule_);
    isLeftAlone();
    fs::remove(rule_);
    ASSERT_EQ(mkfifo(rule_.c_str(), 0600), 0);
    isLeftAlone();
}

TEST_F(RuleFileTest, IsNotLookedForThroughALinkedFolder) {
    for (const char* folder : {"etc", "etc/udev", "etc/udev/rules.d"}) {
        const TemporaryFolder root;
        const fs::path elsewhere = root.folder("elsewhere");
        fs::create_directories(elsewhere / "udev/rules.d");
        fs::create_directories(elsewhere / "rules.d");
        fs::create_directories((root / folder).parent_path());
        fs::create_directory_symlink(elsewhere, root / folder);
        const AccessProblem problem = writeKeyboardRule(root.path());
        ASSERT_TRUE(problem) << folder;
        EXPECT_THAT(*problem, HasSubstr((root / folder).string() + ": "));
        for (const auto& entry : fs::recursive_directory_iterator(elsewhere))
            EXPECT_FALSE(entry.is_regular_file()) << entry.path();
    }
}

TEST_F(RuleFileTest, WithoutTheFolderIsOneClearLine) {
    fs::remove(rules_);
    EXPECT_EQ(writeKeyboardRule(root_.path()), rules_.string() + ": No such file or directory");
    EXPECT_EQ(removeKeyboardRule(root_.path()), rules_.string() + ": No such file or directory");
}

// No permissions hinder the superuser, who tries as nobody.
TEST_F(RuleFileTest, InAFolderNotToBeWrittenIsOneClearLineAndNothingLeft) {
    constexpr fs::perms readable{0555};
    fs::permissions(rules_, readable);
    fs::permissions(root_.path(), readable, fs::perm_options::add);
    constexpr uid_t nobody = 65534;
    const bool privileged = geteuid() == 0;
    ASSERT_TRUE(!privileged || seteuid(nobody) == 0);
    const AccessProblem problem = writeKeyboardRule(root_.path());
    ASSERT_TRUE(!privileged || seteuid(0) == 0);
    EXPECT_EQ(problem, rule_.string() + ": Permission denied");
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(RuleFileTest, OnAFullDiskIsOneClearLineAndNothingLeft) {
    AccessProblem problem;
    {
        const LargestFile limit(10);
        problem = writeKeyboardRule(root_.path());
    }
    EXPECT_EQ(problem, rule_.string() + ": File too large");
    EXPECT_THAT(names(), IsEmpty());
    EXPECT_EQ(writeKeyboardRule(root_.path()), std::nullopt);
    EXPECT_EQ(readText(rule_), keyboardRuleText());
}

TEST_F(RuleFileTest, IsWrittenWhereAnUnfinishedOneOfTheSameProcessNumberLies) {
    writeText(rules_ / ("." + keyboardRuleName() + "." + std::to_string(getpid())), "half");
    EXPECT_EQ(writeKeyboardRule(root_.path()), std::nullopt);
    EXPECT_EQ(readText(rule_), keyboardRuleText());
    EXPECT_EQ(names().size(), 1U);
}

} // namespace
} // namespace morvel
