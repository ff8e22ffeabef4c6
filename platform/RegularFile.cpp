#include "platform/RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>

namespace morvel {

namespace {

std::error_code lastError() {
    return {errno, std::generic_category()};
}

std::error_code refusalOf(const struct stat& status) {
    if (S_ISREG(status.st_mode))
        return {};
    return std::make_error_code(S_ISDIR(status.st_mode) ? std::errc::is_a_directory
                                                        : std::errc::not_supported);
}

} // namespace

FileDescriptor::~FileDescriptor() {
    if (number_ >= 0)
        ::close(number_);
}

Result<FileDescriptor, std::error_code> openRegularFile(const std::filesystem::path& file) {
    const std::string& name = file.native();
    if (name.find('\0') != std::string::npos)
        return std::make_error_code(std::errc::no_such_file_or_directory);
    // Looked at before it is opened, since opening some devices already has an effect, and again
    // after, since the name may mean another file by then.
    struct stat status = {};
    if (::stat(name.c_str(), &status) != 0)
        return lastError();
    if (const auto refusal = refusalOf(status))
        return refusal;
    FileDescriptor opened(::open(name.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (opened.number() < 0)
        return lastError();
    if (::fstat(opened.number(), &status) != 0)
        return lastError();
    if (const auto refusal = refusalOf(status))
        return refusal;
    return opened;
}

Result<std::size_t, std::error_code> sizeOf(const FileDescriptor& file) {
    struct stat status = {};
    if (::fstat(file.number(), &status) != 0)
        return lastError();
    return static_cast<std::size_t>(std::max<off_t>(status.st_size, 0));
}

Result<std::string, std::error_code> readRegularFile(const std::filesystem::path& file,
                                                     std::size_t largest) {
    const auto opened = openRegularFile(file);
    if (!opened)
        return opened.error();
    const auto size = sizeOf(opened.value());
    if (!size)
        return size.error();
    if (size.value() > largest)
        return std::make_error_code(std::errc::file_too_large);

    // The size is only a hint: the file may be growing, or be one that the kernel makes up.
    std::string content;
    content.reserve(size.value());
    std::array<char, 16384> block{};
    for (;;) {
        const ssize_t count = ::read(opened->number(), block.data(), block.size());
        if (count == 0)
            return content;
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return lastError();
        if (content.size() + static_cast<std::size_t>(count) > largest)
            return std::make_error_code(std::errc::file_too_large);
        content.append(block.data(), static_cast<std::size_t>(count));
    }
}

} // namespace morvel
