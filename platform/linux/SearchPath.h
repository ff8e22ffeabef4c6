// Finding programs as a shell does. Any thread.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace morvel {

// The executable file that `program` names: itself when it begins with a slash, else the first of
// that name in `searchPath`, folders separated by colons. Relative folders are passed over: what
// they hold depends on where the program was started.
std::optional<std::filesystem::path> locatedProgram(const std::string& program,
                                                    std::string_view searchPath);

} // namespace morvel
