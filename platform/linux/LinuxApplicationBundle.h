// Finds out how the running copy is installed.
//
// An installed copy is "<prefix>/lib/Morvel.app/": bin/morvel, share/Sounds, and its identity,
// share/applications/<applicationIdentifier>.desktop. Without that file the copy has no identifier.
#pragma once

#include "platform/ApplicationBundle.h"

#include <filesystem>
#include <optional>

namespace morvel {

// The program of the process that `link` tells of, also when its file has been replaced since.
std::optional<std::filesystem::path>
runningExecutable(const std::filesystem::path& link = "/proc/self/exe");

// The bundle is the nearest folder above the program whose name ends in ".app", else the program's
// own folder. Built-in themes are the bundle's, else those in `sourceThemes`.
ApplicationBundle applicationBundle(const std::optional<std::filesystem::path>& executable,
                                    const std::optional<std::filesystem::path>& sourceThemes);

} // namespace morvel
