// The command line:
//
//   morvel                 starts Morvel; opens the drawer of the one that runs
//   morvel --open-drawer   opens the drawer      starts Morvel first where none runs
//   morvel --settings      opens the settings    likewise
//   morvel --toggle-mute   mutes or unmutes      fails where none runs
//   morvel --quit          ends Morvel, returns once it has; content where none runs
//   morvel --help, --version
#pragma once

#include "app/instance/InstanceRequest.h"

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace morvel {

struct CommandLine {
    std::optional<InstanceRequest> request; // none: just start
};

// The program ends at once: prints `text` (complete lines, perhaps none), to standard error where
// `status` tells of a failure, and exits with `status`.
struct ProgramExit {
    int status = 0;
    std::string text;
};

// `arguments` without the program's name. Pure. A session manager's "-session ID" is passed over.
std::variant<CommandLine, ProgramExit> parseCommandLine(std::vector<std::string> arguments,
                                                        const std::string& version);

// What an action of the desktop entry asks for: each is named as its option, without the dashes.
std::optional<InstanceRequest> requestOfAction(std::string_view action);

} // namespace morvel
