// A folder of a test's own, removed with all it holds when the test ends.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>

namespace morvel {

class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "morvel-test-XXXXXX").native();
        if (mkdtemp(name.data()) == nullptr)
            ADD_FAILURE() << "no temporary folder at " << name;
        path_ = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }

    // Creates a folder, and those above it, in here.
    std::filesystem::path folder(const std::filesystem::path& name) const {
        std::filesystem::create_directories(path_ / name);
        return path_ / name;
    }

    // Writes a file, creating its folder.
    std::filesystem::path file(const std::filesystem::path& name, std::string_view content) const {
        std::filesystem::create_directories((path_ / name).parent_path());
        std::ofstream(path_ / name, std::ios::binary) << content;
        return path_ / name;
    }

private:
    std::filesystem::path path_;
};

} // namespace morvel
