#include "platform/linux/KeyboardAccess.h"
#include "tests/support/MainLoop.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <csignal>
#include <set>

namespace morvel {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using Kind = KeyboardAccessAnswer::Kind;

// A program in pkexec's place tells what it was called with and ends as it is told to.
class KeyboardAccessTest : public testing::Test {
protected:
    void pkexecThat(const std::string& does) {
        writeText(pkexec(),
                  "#!/bin/sh\nprintf '%s\\n' \"$@\" > '" + record().string() + "'\n" + does + "\n");
        fs::permissions(pkexec(), fs::perms::owner_all);
    }
    fs::path pkexec() const { return folder_ / "pkexec"; }
    fs::path record() const { return folder_ / "record"; }

    KeyboardAccess::Answered keep() {
        return [this](const KeyboardAccessAnswer& answer) { answers_.push_back(answer); };
    }
    KeyboardAccessAnswer answerTo(const std::string& does) {
        pkexecThat(does);
        answers_.clear();
        access_.grant(keep());
        EXPECT_TRUE(answers_.empty());
        EXPECT_TRUE(test::runUntil([this] { return !answers_.empty(); }));
        EXPECT_FALSE(access_.isAsking());
        return answers_.empty() ? KeyboardAccessAnswer{} : answers_.back();
    }

    TemporaryFolder folder_;
    fs::path helper_ = folder_ / "morvel-keyboard-access";
    std::vector<KeyboardAccessAnswer> answers_;
    KeyboardAccess access_{{pkexec(), helper_}};
    void SetUp() override { writeProgram(helper_); }
};

TEST(GrantHelp, TellsWhyThereIsNoAccessAndTheCommandThatGivesIt) {
    for (const Kind kind : {Kind::notAuthorised, Kind::noPrompt, Kind::noHelper, Kind::failed}) {
        const auto page = grantHelp({kind, "No agent found."}, "/opt/libexec/access");
        ASSERT_TRUE(page);
        EXPECT_THAT(page->text, HasSubstr(": No agent found.\n\n"));
        EXPECT_THAT(page->text, HasSubstr("administrator"));
        EXPECT_EQ(page->detail, "sudo /opt/libexec/access --grant");
    }
    EXPECT_THAT(grantHelp({Kind::noHelper, "x"}, "/a")->text, HasSubstr("Install Morvel again"));
    EXPECT_THAT(grantHelp({Kind::noPrompt, "x"}, "/a")->text, HasSubstr("passwords"));
}

TEST(GrantHelp, SaysNothingToWhoHasGotItOrHasClosedTheQuestionOrStillSeesIt) {
    for (const Kind kind : {Kind::done, Kind::dismissed, Kind::busy})
        EXPECT_FALSE(grantHelp({kind, "no matter"}, "/a"));
}

TEST(GrantHelp, CutsALongLineBetweenTwoCharacters) {
    std::string line;
    for (int i = 0; i < 100; ++i)
        line += "€"; // of three bytes
    EXPECT_THAT(grantHelp({Kind::failed, line}, "/a")->text,
                HasSubstr(": " + line.substr(0, 120) + "….\n"));
    EXPECT_THAT(grantHelp({Kind::failed, "x" + line}, "/a")->text,
                HasSubstr(": x" + line.substr(0, 117) + "….\n"));
}

class KeyboardAccessProgramPlace : public testing::Test {
protected:
    static std::string of(const std::optional<fs::path>& executable,
                          const std::set<fs::path>& programs) {
        return keyboardAccessProgram(executable,
                                     [&](const fs::path& file) { return programs.contains(file); })
            .string();
    }
};

TEST_F(KeyboardAccessProgramPlace, IsBesideAProgramThatIsRunFromABuild) {
    EXPECT_EQ(of("/src/build/dev/app/morvel",
                 {"/src/build/dev/app/morvel-keyboard-access", installedKeyboardAccess}),
              "/src/build/dev/app/morvel-keyboard-access");
}

TEST_F(KeyboardAccessProgramPlace, IsBelowThePrefixOfAnInstalledCopyWhicheverThatIs) {
    for (const std::string& prefix : {std::string("/usr/local"), std::string("/opt/any prefix"),
                                      std::string("/home/me/.local")})
        EXPECT_EQ(of(prefix + "/lib/Morvel.app/bin/morvel",
                     {prefix + "/libexec/morvel-keyboard-access", installedKeyboardAccess}),
                  prefix + "/libexec/morvel-keyboard-access");
    EXPECT_EQ(of("/usr/lib/Morvel.app/bin/morvel", {installedKeyboardAccess}),
              installedKeyboardAccess);
}

TEST_F(KeyboardAccessProgramPlace, IsElseTheSystemsWhetherItIsThereOrNot) {
    EXPECT_EQ(of("/opt/lib/Morvel.app/bin/morvel", {}), installedKeyboardAccess);
    EXPECT_EQ(of("/morvel", {}), installedKeyboardAccess);
    EXPECT_EQ(of(std::nullopt, {}), installedKeyboardAccess);
    // No bundle: what lies some folders above has nothing to do with it.
    EXPECT_EQ(of("/src/build/dev/app/morvel", {"/src/libexec/morvel-keyboard-access"}),
              installedKeyboardAccess);
}

TEST_F(KeyboardAccessTest, AsksForTheHelperWithOneArgumentAndForNoTextualQuestion) {
    EXPECT_EQ(answerTo("exit 0").kind, Kind::done);
    EXPECT_EQ(readText(record()), "--disable-internal-agent\n" + helper_.string() + "\n--grant\n");
    answers_.clear();
    access_.revoke(keep());
    EXPECT_TRUE(test::runUntil([this] { return !answers_.empty(); }));
    EXPECT_EQ(readText(record()), "--disable-internal-agent\n" + helper_.string() + "\n--revoke\n");
}

TEST_F(KeyboardAccessTest, TellsTheAnswersApart) {
    EXPECT_EQ(answerTo("exit 0").problem, "");
    EXPECT_EQ(answerTo("exit 126").kind, Kind::dismissed);
    EXPECT_EQ(
        answerTo("echo 'Not authorized' >&2; echo >&2; echo 'You are watched.' >&2; exit 127").kind,
        Kind::notAuthorised);
    EXPECT_EQ(answers_.back().problem, "Not authorized");
    EXPECT_EQ(answerTo("echo >&2; echo 'the reason' >&2; exit 1").kind, Kind::failed);
    EXPECT_EQ(answers_.back().problem, "the reason");
    EXPECT_EQ(answerTo("exit 4").problem, "it ended with status 4");
    EXPECT_EQ(answerTo("kill -9 $$").kind, Kind::failed);
    EXPECT_EQ(answers_.back().problem, "it was ended by signal 9");
}

TEST_F(KeyboardAccessTest, WhatItSaysIsTakenInPrintablePortions) {
    EXPECT_EQ(answerTo("head -c 1000000 /dev/zero | tr '\\0' x >&2; exit 1").problem,
              std::string(500, 'x'));
    EXPECT_EQ(answerTo("printf 'a\\377b' >&2; exit 1").problem, "a\xEF\xBF\xBD"
                                                                "b");
}

TEST_F(KeyboardAccessTest, WhatIsMissingIsToldAtOnce) {
    pkexecThat("exit 0");
    KeyboardAccess without({std::nullopt, helper_});
    without.grant(keep());
    ASSERT_EQ(answers_.size(), 1U);
    EXPECT_EQ(answers_.back().kind, Kind::noPrompt);

    fs::remove(helper_);
    access_.grant(keep());
    ASSERT_EQ(answers_.size(), 2U);
    EXPECT_EQ(answers_.back().kind, Kind::noHelper);
    EXPECT_EQ(answers_.back().problem, helper_.string() + ": No such file or directory");

    writeProgram(helper_);
    fs::remove(pkexec());
    access_.grant(keep());
    ASSERT_EQ(answers_.size(), 3U);
    EXPECT_EQ(answers_.back().kind, Kind::failed);
    EXPECT_EQ(answers_.back().problem, "No such file or directory");
    EXPECT_FALSE(access_.isAsking());
}

TEST_F(KeyboardAccessTest, WhileAQuestionStandsNoSecondOneIsAsked) {
    const std::filesystem::path go = folder_ / "go";
    ASSERT_EQ(mkfifo(go.c_str(), 0600), 0);
    pkexecThat("read -r word < '" + go.string() + "'");
    access_.grant(keep());
    EXPECT_TRUE(access_.isAsking());
    access_.revoke(keep());
    ASSERT_EQ(answers_.size(), 1U);
    EXPECT_EQ(answers_.back().kind, Kind::busy);
    writeText(go, "now\n");
    EXPECT_TRUE(test::runUntil([this] { return answers_.size() == 2; }));
    EXPECT_EQ(answers_.back().kind, Kind::done);
    EXPECT_EQ(readText(record()), "--disable-internal-agent\n" + helper_.string() + "\n--grant\n");
}

TEST_F(KeyboardAccessTest, WhoIsAnsweredMayAskAgain) {
    pkexecThat("exit 126");
    int asked = 0;
    KeyboardAccess::Answered again = [&](const KeyboardAccessAnswer&) {
        if (++asked < 3)
            access_.grant(again);
    };
    access_.grant(again);
    EXPECT_TRUE(test::runUntil([&] { return asked == 3; }));
    EXPECT_FALSE(access_.isAsking());
}

TEST_F(KeyboardAccessTest, AQuestionThatStandsIsClosedWithWhoAsksIt) {
    sigset_t termination;
    sigset_t before;
    sigemptyset(&termination);
    sigaddset(&termination, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &termination, &before); // as the program has it
    // It waits for a word that never comes.
    const std::string pipe = (folder_ / "word").string();
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    pkexecThat("trap \"echo closed > '" + (folder_ / "closed").string() +
               "'; exit\" TERM\nexec 3<> '" + pipe + "'\necho asking > '" +
               (folder_ / "asking").string() + "'\nread -r word <&3");
    QTimer heartbeat;
    heartbeat.start(5);
    {
        KeyboardAccess gone({pkexec(), helper_});
        gone.grant(keep());
        EXPECT_TRUE(test::runUntil([this] { return fs::exists(folder_ / "asking"); }));
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    EXPECT_TRUE(test::runUntil([this] { return fs::exists(folder_ / "closed"); }));
    EXPECT_TRUE(answers_.empty());
}

} // namespace
} // namespace morvel
