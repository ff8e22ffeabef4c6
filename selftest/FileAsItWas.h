// Puts a file back as it was: its bytes and its permissions, or its absence. Main thread; blocks on
// the disk.
#pragma once

#include "platform/Files.h"

#include <filesystem>

namespace morvel {

class FileAsItWas {
public:
    // Of a file that is longer than this, or is none, nothing is put back.
    static constexpr std::size_t longest = std::size_t{1} << 20;

    explicit FileAsItWas(std::filesystem::path file);
    // Restores.
    ~FileAsItWas();
    FileAsItWas(const FileAsItWas&) = delete;
    FileAsItWas& operator=(const FileAsItWas&) = delete;

    // Does nothing where the file is as it was. Where it was absent, so is afterwards the folder
    // that was made to hold it, unless something else is in it.
    void restore();

private:
    const std::filesystem::path file_;
    const FileContent content_;
    const std::filesystem::perms permissions_;
    const bool hadFolder_;
};

} // namespace morvel
