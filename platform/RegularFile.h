// Opening files that somebody else put on the disk. A name in a theme folder may turn out to be a
// symbolic link to a device, a pipe nobody writes to or a ring of links: only regular files are
// opened, and opening never waits. POSIX; any thread.
#pragma once

#include "platform/Result.h"

#include <cstddef>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

namespace morvel {

// Owns one open file descriptor and closes it.
class FileDescriptor {
public:
    explicit FileDescriptor(int number)
        : number_(number) {}
    ~FileDescriptor();
    FileDescriptor(FileDescriptor&& other) noexcept
        : number_(std::exchange(other.number_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }

    int number() const { return number_; }

private:
    int number_;
};

// Opens `file` (links are followed) for reading, positioned at its start. Fails with the system's
// error; std::errc::is_a_directory for a directory, std::errc::not_supported for a device, pipe or
// socket, std::errc::no_such_file_or_directory for a name that holds a zero byte.
Result<FileDescriptor, std::error_code> openRegularFile(const std::filesystem::path& file);

// Size in bytes, as the file system tells it.
Result<std::size_t, std::error_code> sizeOf(const FileDescriptor& file);

// The whole content. Fails as openRegularFile does, with the system's error when reading fails, or
// with std::errc::file_too_large when there is more than `largest` bytes: no more than that is ever
// held.
Result<std::string, std::error_code> readRegularFile(const std::filesystem::path& file,
                                                     std::size_t largest);

} // namespace morvel
