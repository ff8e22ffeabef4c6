// Where the user's things are, by the XDG rules. Main thread.
#pragma once

#include "platform/ApplicationBundle.h"
#include "platform/Environment.h"

#include <filesystem>
#include <functional>
#include <optional>

namespace morvel {

// The environment this process was started with.
Environment systemEnvironment();

// The home folder in the system's user database.
std::optional<std::filesystem::path> accountHome();

// HOME, or what `account` answers where it is not set to an absolute path; empty without either.
std::filesystem::path
homeFolder(const Environment& environment,
           const std::function<std::optional<std::filesystem::path>()>& account = accountHome);

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
