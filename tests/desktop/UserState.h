// What the program keeps for its user, to be compared with what was there before.
#pragma once

#include "tests/support/TemporaryFolder.h"

#include <filesystem>
#include <map>
#include <string>

namespace morvel::test {

// The bytes of every file of the user's settings, themes and autostart entries, by its path from
// `home`, which is a DesktopSession's. A folder is there with its path alone.
inline std::map<std::string, std::string> userState(const std::filesystem::path& home) {
    namespace fs = std::filesystem;
    std::map<std::string, std::string> state;
    for (const char* folder : {".config/Morvel", ".config/autostart", ".local/share/Morvel"}) {
        if (!fs::exists(home / folder))
            continue;
        for (const auto& entry : fs::recursive_directory_iterator(home / folder))
            state[entry.path().lexically_relative(home).string()] =
                entry.is_directory() ? "folder" : readText(entry.path());
    }
    return state;
}

} // namespace morvel::test
