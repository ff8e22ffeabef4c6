#include "platform/macos/MacFolders.h"

#include "platform/macos/Frameworks.h"

#include <array>
#include <climits>
#include <string_view>

namespace morvel {

namespace {

// The first that the system names; it writes the home folder as "~".
std::filesystem::path userFolder(sysdir_search_path_directory_t which,
                                 const std::filesystem::path& home) {
    std::array<char, PATH_MAX + 1> buffer{};
    const auto state = sysdir_start_search_path_enumeration(which, SYSDIR_DOMAIN_MASK_USER);
    if (sysdir_get_next_search_path_enumeration(state, buffer.data()) == 0)
        return {};
    const std::string_view path(buffer.data());
    return path.starts_with("~/") ? home / path.substr(2) : std::filesystem::path(path);
}

} // namespace

std::filesystem::path applicationSupportFolder(const std::filesystem::path& home) {
    const auto named = userFolder(SYSDIR_DIRECTORY_APPLICATION_SUPPORT, home);
    return named.empty() && !home.empty() ? home / "Library" / "Application Support" : named;
}

InstallationPaths installationPaths(const std::filesystem::path& home) {
    InstallationPaths paths{home, userFolder(SYSDIR_DIRECTORY_DOWNLOADS, home), {"/Applications"}};
    if (!home.empty())
        paths.allowedRoots.push_back(home / "Applications");
    return paths;
}

} // namespace morvel
