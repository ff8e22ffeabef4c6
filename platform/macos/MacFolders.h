// The user's folders, where the system says they are. Main thread.
#pragma once

#include "platform/ApplicationBundle.h"

#include <filesystem>

namespace morvel {

// Where programs keep their data: "Library/Application Support" in the home folder, also where the
// system names none. Empty without a home folder.
std::filesystem::path applicationSupportFolder(const std::filesystem::path& home);

// Allowed roots: the Applications folders of the machine and of the user.
InstallationPaths installationPaths(const std::filesystem::path& home);

} // namespace morvel
