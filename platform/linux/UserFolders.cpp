#include "platform/linux/UserFolders.h"

#include "platform/Files.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

namespace morvel {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t longestUserDirs = std::size_t{64} * 1024;

std::optional<fs::path> absolute(const std::optional<std::string>& text) {
    if (!text || !text->starts_with('/'))
        return std::nullopt;
    return fs::path(*text);
}

// The text between the quotes of a line such as XDG_DOWNLOAD_DIR="$HOME/Downloads", with the
// shell's backslashes taken away; none where it names no folder of its own.
std::optional<fs::path> folderFrom(std::string_view assignment, const fs::path& home) {
    const std::size_t open = assignment.find('"');
    if (open == std::string_view::npos)
        return std::nullopt;
    std::string value;
    std::size_t i = open + 1;
    for (; i < assignment.size() && assignment[i] != '"'; ++i) {
        if (assignment[i] == '\\' && i + 1 < assignment.size())
            ++i;
        value += assignment[i];
    }
    if (i >= assignment.size())
        return std::nullopt;
    constexpr std::string_view homeVariable = "$HOME/";
    fs::path folder;
    if (value.starts_with(homeVariable))
        folder = home / fs::path(value.substr(homeVariable.size()));
    else if (value.starts_with('/'))
        folder = value;
    // A folder that the user has switched off is written as the home folder itself.
    if (folder.empty() || folder.lexically_normal() == (home / "").lexically_normal() ||
        folder == home)
        return std::nullopt;
    return folder;
}

fs::path downloadsFolder(const fs::path& configuration, const fs::path& home) {
    constexpr std::string_view key = "XDG_DOWNLOAD_DIR=";
    fs::path downloads = home.empty() ? fs::path() : home / "Downloads";
    const FileContent content = readFile(configuration / "user-dirs.dirs", longestUserDirs);
    std::string_view rest = content.text;
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        std::string_view line = rest.substr(0, end);
        line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
        if (line.starts_with(key))
            if (auto folder = folderFrom(line.substr(key.size()), home))
                downloads = std::move(*folder);
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return downloads;
}

} // namespace

fs::path configurationFolder(const Environment& environment, const fs::path& home) {
    return absolute(environment("XDG_CONFIG_HOME")).value_or(home / ".config");
}

fs::path dataFolder(const Environment& environment, const fs::path& home) {
    return absolute(environment("XDG_DATA_HOME")).value_or(home / ".local" / "share");
}

InstallationPaths installationPaths(const Environment& environment, const fs::path& home) {
    InstallationPaths paths{
        home, downloadsFolder(configurationFolder(environment, home), home), {}};
    paths.allowedRoots = {"/Applications"};
    if (!home.empty())
        paths.allowedRoots.push_back(home / "Applications");
    for (const char* prefix : {"/usr", "/usr/local", "/opt"})
        paths.allowedRoots.emplace_back(prefix);
    if (!home.empty())
        paths.allowedRoots.push_back(home / ".local");
    return paths;
}

} // namespace morvel
