// A folder of a test's own, gone with everything in it at the test's end.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace morvel {

inline void writeText(const std::filesystem::path& file, std::string_view text) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
}

inline std::string readText(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

inline void writeProgram(const std::filesystem::path& file) {
    writeText(file, "#!/bin/sh\n");
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
}

class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string name =
            (std::filesystem::canonical(std::filesystem::temp_directory_path()) / "morvel.XXXXXX")
                .string();
        if (::mkdtemp(name.data()) == nullptr)
            throw std::runtime_error("no temporary folder");
        path_ = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::filesystem::path& name) const {
        return path_ / name;
    }

    // Creates a folder, and those above it, in here.
    std::filesystem::path folder(const std::filesystem::path& name) const {
        std::filesystem::create_directories(path_ / name);
        return path_ / name;
    }

    // Writes a file, creating its folder.
    std::filesystem::path file(const std::filesystem::path& name, std::string_view content) const {
        writeText(path_ / name, content);
        return path_ / name;
    }

private:
    std::filesystem::path path_;
};

} // namespace morvel
