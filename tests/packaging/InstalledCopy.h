// A copy of the program that "cmake --install" has put below a prefix, gone at the test's end.
#pragma once

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace morvel::test {

// What a program has printed, and how it ended.
struct Ran {
    int status = -1;
    std::string output;
    std::string errors;
};

inline Ran run(const std::vector<std::string>& command,
               const std::vector<std::string>& environment = {}) {
    const TemporaryFolder folder;
    const std::string output = folder / "output";
    const std::string errors = folder / "errors";
    ChildProcess process({command, environment, errors, {}, output});
    const int status = process.wait(std::chrono::seconds(60));
    return {status, readText(output), readText(errors)};
}

class InstalledCopy : public testing::Test {
protected:
    void SetUp() override {
        const Ran installation =
            run({CMAKE_PROGRAM, "--install", MORVEL_BUILD_DIR, "--prefix", prefix.string()});
        ASSERT_EQ(installation.status, 0) << installation.errors;
    }

    // Every file below `folder`, relative to it, links included.
    static std::set<std::string> filesBelow(const std::filesystem::path& folder) {
        std::set<std::string> files;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
            if (entry.is_symlink() || !entry.is_directory())
                files.insert(entry.path().lexically_relative(folder).string());
        return files;
    }

    TemporaryFolder folder;
    std::filesystem::path prefix = folder / "any prefix";
    const std::filesystem::path bundle = "lib/Morvel.app"; // below the prefix
    const std::filesystem::path source = MORVEL_SOURCE_DIR;
};

} // namespace morvel::test
