// A copy of the program as it is when it is installed for one user.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace morvel::test {

// Makes the bundle `folder`/Morvel.app of the built program, with `themes` of the source tree for
// its built-in ones; answers where the program is in it.
std::filesystem::path installCopy(const std::filesystem::path& folder,
                                  const std::vector<std::string>& themes);

} // namespace morvel::test
