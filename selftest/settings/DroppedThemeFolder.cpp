#include "selftest/settings/DroppedThemeFolder.h"

#include <fmt/format.h>

#include <fstream>
#include <system_error>

namespace morvel {

namespace fs = std::filesystem;

DroppedThemeFolder::DroppedThemeFolder(const fs::path& themes, std::string_view name)
    : id_(name) {
    constexpr int mostNames = 100;
    for (int number = 1; number <= mostNames && folder_.empty(); ++number) {
        const std::string free = number == 1 ? id_ : fmt::format("{}-{}", name, number);
        std::error_code error;
        if (fs::create_directory(themes / free, error)) {
            folder_ = themes / free;
            id_ = free;
        }
    }
}

DroppedThemeFolder::~DroppedThemeFolder() {
    std::error_code ignored;
    if (!folder_.empty())
        fs::remove_all(folder_, ignored);
}

bool DroppedThemeFolder::write(std::string_view file, std::string_view text) const {
    if (folder_.empty())
        return false;
    std::ofstream stream(folder_ / file, std::ios::binary);
    stream << text;
    stream.close();
    return !stream.fail();
}

bool DroppedThemeFolder::copy(const fs::path& source) const {
    std::error_code error;
    return !folder_.empty() && fs::copy_file(source, folder_ / source.filename(), error);
}

} // namespace morvel
