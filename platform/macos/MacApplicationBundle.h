// What the system tells of the running copy, which is a bundle or a loose executable.
#pragma once

#include "platform/ApplicationBundle.h"

#include <filesystem>
#include <optional>

namespace morvel {

// Built-in themes are those in the bundle's "Sounds" resources, else those in `sourceThemes`. Main
// thread.
ApplicationBundle mainBundle(const std::optional<std::filesystem::path>& sourceThemes);

} // namespace morvel
