// How many instructions a key and a block of sound cost, which no noise of the machine disturbs.

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

namespace morvel {
namespace {

using Counts = std::map<std::string, std::uint64_t>;

// Of one of callgrind's files: what it counted, under the name that the program gave.
void readDump(const std::filesystem::path& file, Counts& counts) {
    const std::string mark = "Client Request: ";
    std::ifstream lines(file);
    std::string name;
    for (std::string line; std::getline(lines, line);) {
        const auto at = line.find(mark);
        if (line.starts_with("desc: Trigger: ") && at != std::string::npos)
            name = line.substr(at + mark.size());
        std::istringstream words(line);
        std::string word;
        std::uint64_t count = 0;
        if (!name.empty() && words >> word >> count && word == "totals:")
            counts[name] = count;
    }
}

Counts countInstructions() {
    const TemporaryFolder folder;
    // The C library, too, picks other functions on other processors.
    test::ChildProcess valgrind(
        {{"valgrind", "--tool=callgrind", "--instr-atstart=no", "--collect-atstart=no",
          "--callgrind-out-file=" + (folder / "counts").string(), COUNTED_WORK},
         {"GLIBC_TUNABLES=glibc.cpu.hwcaps=-AVX2,-AVX512F,-AVX512VL,-BMI2,"
          "-ERMS,-FMA,-FSRM,-LZCNT"},
         (folder / "log").string(),
         {}});
    EXPECT_EQ(valgrind.wait(std::chrono::seconds(100)), 0) << readText(folder / "log");
    Counts counts;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
        readDump(entry.path(), counts);
    return counts;
}

Counts recordedCounts() {
    Counts counts;
    std::ifstream lines(RECORDED_INSTRUCTIONS);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string name;
        std::uint64_t count = 0;
        if (words >> name >> count && !name.starts_with("#"))
            counts[name] = count;
    }
    return counts;
}

// Keeps the comment at the file's head.
void record(const Counts& counts) {
    std::string head;
    std::ifstream lines(RECORDED_INSTRUCTIONS);
    for (std::string line; std::getline(lines, line) && line.starts_with("#");)
        head += line + "\n";
    lines.close();
    std::ofstream file(RECORDED_INSTRUCTIONS);
    file << head;
    for (const auto& [name, count] : counts)
        file << name << ' ' << count << '\n';
}

TEST(Instructions, OfHandlingPlayingAndRenderingAreAtMostATenthMoreThanRecorded) {
    const Counts counts = countInstructions();
    if (std::getenv("MORVEL_RECORD_INSTRUCTIONS") != nullptr && counts.size() == 5)
        record(counts);
    const Counts recorded = recordedCounts();
    ASSERT_EQ(recorded.size(), 5u);
    for (const auto& [name, most] : recorded) {
        const auto found = counts.find(name);
        if (name == "render-wide" && found == counts.end())
            continue; // a processor without 256-bit arithmetic
        ASSERT_NE(found, counts.end()) << name;
        RecordProperty(name, std::to_string(found->second));
        EXPECT_LE(static_cast<double>(found->second), 1.1 * static_cast<double>(most)) << name;
        // What is gained is recorded, lest it be lost again unseen; and less may be too little.
        EXPECT_GE(static_cast<double>(found->second), 0.8 * static_cast<double>(most)) << name;
    }
}

} // namespace
} // namespace morvel
