// Where the user's things are, by the XDG rules. Main thread.
#pragma once

#include "platform/ApplicationBundle.h"
#include "platform/Environment.h"
#include "platform/HomeFolder.h"

#include <filesystem>

namespace morvel {

// XDG_CONFIG_HOME where it is an absolute path, else ".config" in the home folder.
std::filesystem::path configurationFolder(const Environment& environment,
                                          const std::filesystem::path& home);

// XDG_DATA_HOME where it is an absolute path, else ".local/share" in the home folder.
std::filesystem::path dataFolder(const Environment& environment, const std::filesystem::path& home);

// The Downloads folder is the one the user's "user-dirs.dirs" names, else "Downloads" in the home
// folder. Allowed roots: the two Applications folders, then the usual prefixes.
InstallationPaths installationPaths(const Environment& environment,
                                    const std::filesystem::path& home);

} // namespace morvel
