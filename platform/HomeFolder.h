// The user's home folder. POSIX; any thread.
#pragma once

#include "platform/Environment.h"

#include <filesystem>
#include <functional>
#include <optional>

namespace morvel {

// The home folder in the system's user database.
std::optional<std::filesystem::path> accountHome();

// HOME, or what `account` answers where it is not set to an absolute path; empty without either.
std::filesystem::path
homeFolder(const Environment& environment,
           const std::function<std::optional<std::filesystem::path>()>& account = accountHome);

} // namespace morvel
