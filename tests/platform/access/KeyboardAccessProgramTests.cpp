#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>

namespace morvel {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

// The program as somebody without privileges runs it: what is here changes nothing on this machine.
class KeyboardAccessProgramTest : public testing::Test {
protected:
    struct Run {
        int status;
        std::string errors;
    };

    Run run(std::vector<std::string> arguments) {
        std::vector<std::string> command;
        if (geteuid() == 0)
            command = {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
        command.push_back(program_.string());
        command.insert(command.end(), arguments.begin(), arguments.end());
        fs::remove(errors_);
        test::ChildProcess process(
            {command, {"LD_BIND_NOW=1", "SECRET=1"}, errors_.string(), {}, {}});
        const int status = process.wait(std::chrono::seconds(20));
        return {status, readText(errors_)};
    }
    static bool isOneLine(const std::string& text) {
        return std::count(text.begin(), text.end(), '\n') == 1 && text.ends_with('\n');
    }

    void SetUp() override {
        fs::permissions(folder_.path(), fs::perms::others_read | fs::perms::others_exec,
                        fs::perm_options::add);
        fs::copy_file(MORVEL_KEYBOARD_ACCESS, program_);
    }

    TemporaryFolder folder_;
    fs::path program_ = folder_ / "morvel-keyboard-access";
    fs::path errors_ = folder_ / "errors";
};

TEST_F(KeyboardAccessProgramTest, TakesExactlyOneKnownArgument) {
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{},
                                                      {"--grant", "--revoke"},
                                                      {"--grant", "--grant"},
                                                      {"--help"},
                                                      {""},
                                                      {"--grant=yes"},
                                                      {"-grant"},
                                                      {"--root"},
                                                      {"--GRANT"},
                                                      {"--grant "}}) {
        const Run result = run(arguments);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(arguments);
        EXPECT_EQ(result.errors,
                  "morvel-keyboard-access: exactly one argument, --grant or --revoke\n");
    }
}

TEST_F(KeyboardAccessProgramTest, IsForTheSuperuserOnly) {
    for (const char* argument : {"--grant", "--revoke"}) {
        const Run result = run({argument});
        EXPECT_EQ(result.status, 3);
        EXPECT_THAT(result.errors, HasSubstr("only the superuser"));
        EXPECT_TRUE(isOneLine(result.errors)) << result.errors;
    }
}

} // namespace
} // namespace morvel
