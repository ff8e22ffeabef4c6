// The script that judges the logs of the self-tests, with a program that only prints what it is
// told to.

#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>

namespace morvel::test {
namespace {

using testing::HasSubstr;

struct Row {
    int checks = 0;
    int failures = 0;
};

std::string repeated(const std::string& text, int times) {
    std::string all;
    for (int i = 0; i < times; ++i)
        all += text;
    return all;
}

// As many passed checks as a harness has, and its last line.
std::string checklist(const std::string& prefix, int checks) {
    return repeated(prefix + "   [PASS] one\n", checks) + prefix + " complete — 0 failure(s)\n";
}

class SelfTestScript : public testing::Test {
protected:
    // Runs the script; answers its table by harness.
    std::map<std::string, Row> run() {
        std::string program = "#!/bin/sh\n";
        program += "[ -z \"$MORVEL_THEME_SELFTEST$MORVEL_AUDIO_SELFTEST\" ] || "
                   "tr '\\0' '" +
                   recordedByte + "' < /dev/zero | head -c " + std::to_string(recordedBytes) +
                   " > \"$MORVEL_SELFTEST_OUT\"\n";
        for (const auto& [variable, log] : logs)
            program +=
                "[ \"$MORVEL_" + variable + "_SELFTEST\" != 1 ] || cat <<'END'\n" + log + "END\n";
        writeText(folder / "program", program);
        std::filesystem::permissions(folder / "program", std::filesystem::perms::owner_all);
        const std::string command = "DISPLAY=:none " MORVEL_SELFTEST_SCRIPT " '" +
                                    (folder / "program").string() + "' '" +
                                    (folder / "out").string() + "' 2>&1";
        FILE* const output = popen(command.c_str(), "r"); // NOLINT(cert-env33-c)
        EXPECT_NE(output, nullptr);
        std::array<char, 4096> buffer{};
        while (fgets(buffer.data(), buffer.size(), output) != nullptr)
            said += buffer.data();
        exitStatus = pclose(output);
        std::map<std::string, Row> table;
        std::istringstream lines(said.substr(said.find("harness  ")));
        for (std::string line; std::getline(lines, line);) {
            std::istringstream words(line.substr(28));
            Row row;
            if (words >> row.checks >> row.failures)
                table[line.substr(0, line.find("  "))] = row;
        }
        return table;
    }

    TemporaryFolder folder;
    std::map<std::string, std::string> logs = {
        {"AUDIO", repeated("SELFTEST section 1: single popReset\n", 5) +
                      "SELFTEST   engine running after restart: true\nSELFTEST complete\n"},
        {"THEME", repeated("THEMETEST   keyboard.down             exact\n", 31) +
                      "THEMETEST   fidget.pop                inherited from Default\n"
                      "THEMETEST complete\n"},
        {"SETTINGS", checklist("SETTINGSTEST", 45)},
        {"KEYGROUP", checklist("KEYGROUPTEST", 75)},
        {"POLISH", checklist("POLISHTEST", 24)},
        {"KEYBOARD", "KBTEST complete\n"},
        {"FIDGET", repeated("FDTEST   10.0° -> 20.0°  delta 10.0°  expected 10.0°  ok\n", 10) +
                       "FDTEST   360° over 120 events -> 24 ticks (expect 24)\n"
                       "FDTEST   +180° then -180° -> 12 then 12 ticks (expect 12 and 12)\n"
                       "FDTEST   single 3600° jump -> 4 ticks (clamped at 4)\n"
                       "FDTEST   after startLoop(dialLoop): looping=fidget.dialLoop\n"
                       "FDTEST   after stopLoop(pop): looping=fidget.dialLoop (dial must survive)\n"
                       "FDTEST   after stopLoop(dialLoop): looping=none (must be none)\n"
                       "FDTEST complete\n"},
    };
    std::size_t recordedBytes = std::size_t{20} * 44100 * 8;
    std::string recordedByte = "x";
    std::string said;
    int exitStatus = -1;
};

TEST_F(SelfTestScript, CountsChecksAndFindsNoFailureWhereThereIsNone) {
    auto table = run();
    EXPECT_EQ(table["audio"].checks, 1 + 2); // the restart, and that there are all of them
    EXPECT_EQ(table["theme"].checks, 32 + 1);
    EXPECT_EQ(table["settings"].checks, 45 + 2);
    EXPECT_EQ(table["fidget"].checks, 16 + 1);
    for (const auto& [harness, row] : table)
        if (harness != "keyboard") {
            EXPECT_EQ(row.failures, 0) << harness;
        }
    // No sound of a key, and no row of the table of keys.
    EXPECT_EQ(table["keyboard"].failures, 4);
    EXPECT_NE(exitStatus, 0);
}

TEST_F(SelfTestScript, EveryKindOfFailureIsCountedAndShown) {
    logs["AUDIO"] = repeated("SELFTEST section 1: single popReset\n", 5) +
                    "SELFTEST   engine running after restart: false\nSELFTEST complete\n";
    logs["THEME"] = repeated("THEMETEST   keyboard.down             exact\n", 31) +
                    "THEMETEST   fidget.pop                UNRESOLVED\nTHEMETEST complete\n";
    logs["SETTINGS"] = repeated("SETTINGSTEST   [PASS] one\n", 45) +
                       "SETTINGSTEST   [FAIL] one\nSETTINGSTEST complete — 1 failure(s): one\n";
    logs["KEYBOARD"] = "KBTEST 2: 5x F13 down\nTRACE play keyboard.alpha.down\n"
                       "KBTEST   a     -> keyboard.space.down\nKBTEST complete\n";
    logs["FIDGET"] = repeated("FDTEST   10.0° -> 20.0°  delta 30.0°  expected 10.0°  WRONG\n", 10) +
                     "FDTEST   360° over 120 events -> 23 ticks (expect 24)\n"
                     "FDTEST   +180° then -180° -> 12 then 11 ticks (expect 12 and 12)\n"
                     "FDTEST   single 3600° jump -> 5 ticks (clamped at 4)\n"
                     "FDTEST   after startLoop(dialLoop): looping=none\n"
                     "FDTEST   after stopLoop(pop): looping=none (dial must survive)\n"
                     "FDTEST   after stopLoop(dialLoop): looping=fidget.dialLoop (must be none)\n"
                     "FDTEST complete\n";
    recordedBytes = 1000;
    auto table = run();
    EXPECT_EQ(table["audio"].failures, 1);
    EXPECT_EQ(table["audio (recording)"].failures, 1);
    EXPECT_EQ(table["theme"].failures, 1);
    EXPECT_EQ(table["settings"].failures, 1 + 1); // the check, and the count in the last line
    EXPECT_EQ(table["keyboard"].failures, 1 + 1 + 1 + 3); // row, count of rows, steps 2, 1, 4, 6
    EXPECT_EQ(table["fidget"].failures, 16);
    EXPECT_THAT(said, HasSubstr("[FAIL] one"));
}

TEST_F(SelfTestScript, AHarnessThatDoesNotComeToItsEndHasFailed) {
    logs["KEYGROUP"] = repeated("KEYGROUPTEST   [PASS] one\n", 75);
    logs["POLISH"] = "";
    auto table = run();
    EXPECT_EQ(table["key-groups"].failures, 1);
    EXPECT_GE(table["polish"].failures, 1);
    EXPECT_THAT(said, HasSubstr("did not come to its end"));
}

TEST_F(SelfTestScript, AHarnessThatLeavesChecksOutHasFailed) {
    logs["AUDIO"] = "SELFTEST complete\n";
    logs["THEME"] = "THEMETEST complete\n";
    logs["SETTINGS"] = checklist("SETTINGSTEST", 40);
    logs["FIDGET"] = "FDTEST complete\n";
    auto table = run();
    EXPECT_EQ(table["audio"].failures, 2); // no section, no restart
    EXPECT_EQ(table["theme"].failures, 1);
    EXPECT_EQ(table["settings"].failures, 1);
    EXPECT_EQ(table["fidget"].failures, 1);
}

TEST_F(SelfTestScript, ASilentRecordingIsNone) {
    recordedByte = "\\0";
    auto table = run();
    EXPECT_EQ(table["audio (recording)"].failures, 1);
    EXPECT_EQ(table["theme (recording)"].failures, 1);
    EXPECT_THAT(said, HasSubstr("is silent"));
}

} // namespace
} // namespace morvel::test
