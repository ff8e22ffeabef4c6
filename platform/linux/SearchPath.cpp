#include "platform/linux/SearchPath.h"

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <system_error>

namespace morvel {

namespace fs = std::filesystem;

namespace {

bool isProgram(const fs::path& path) {
    std::error_code error;
    return fs::is_regular_file(path, error) && ::access(path.c_str(), X_OK) == 0;
}

} // namespace

std::optional<fs::path> locatedProgram(const std::string& program, std::string_view searchPath) {
    if (program.starts_with('/'))
        return isProgram(program) ? std::optional<fs::path>(program) : std::nullopt;
    std::string_view rest = searchPath;
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find(':'), rest.size());
        const fs::path candidate = fs::path(rest.substr(0, end)) / program;
        if (candidate.is_absolute() && isProgram(candidate))
            return candidate;
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return std::nullopt;
}

} // namespace morvel
