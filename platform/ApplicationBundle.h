// Where the running copy of the program lives and what the system knows it as.
//
// An installed copy is a folder whose name ends in ".app" and that holds its identity, its program
// and its data (an application bundle); a copy run from a build folder is a loose executable.
#pragma once

#include "platform/ApplicationIdentifier.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace morvel {

struct ApplicationBundle {
    std::optional<std::filesystem::path> executable;
    std::filesystem::path path;            // the bundle's folder, or the loose program's folder
    std::optional<std::string> identifier; // none when the program is not in a bundle
    std::optional<std::filesystem::path> themes; // the "Sounds" folder of the built-in themes
};

// The user's folders and the roots that an installed copy may live in, in their order.
struct InstallationPaths {
    std::filesystem::path home;
    std::filesystem::path downloads;
    std::vector<std::filesystem::path> allowedRoots;
};

} // namespace morvel
