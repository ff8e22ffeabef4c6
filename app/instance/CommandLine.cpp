#include "app/instance/CommandLine.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <sstream>
#include <utility>

namespace morvel {

namespace {

struct Choice {
    const char* option; // begins with two dashes
    const char* description;
    InstanceRequest request;
};

constexpr std::array<Choice, 4> choices = {{
    {"--open-drawer", "Open the drawer, starting Morvel if it does not run",
     InstanceRequest::openDrawer},
    {"--settings", "Open the settings, starting Morvel if it does not run",
     InstanceRequest::openSettings},
    {"--toggle-mute", "Mute or unmute the Morvel that runs", InstanceRequest::toggleMute},
    {"--quit", "End the Morvel that runs, and wait until it has ended", InstanceRequest::quit},
}};

// A session manager starts a program again with an argument pair of its own.
void dropSession(std::vector<std::string>& arguments) {
    const auto session = std::find(arguments.begin(), arguments.end(), "-session");
    if (session != arguments.end())
        arguments.erase(session, session + std::min<std::ptrdiff_t>(2, arguments.end() - session));
}

} // namespace

std::variant<CommandLine, ProgramExit> parseCommandLine(std::vector<std::string> arguments,
                                                        const std::string& version) {
    CLI::App app("Sounds for your keys, and a drawer of toys.\n"
                 "Started while it runs, Morvel opens its drawer.",
                 "morvel");
    app.set_help_flag("--help", "Print this help and exit");
    app.set_version_flag("--version", "Morvel " + version, "Print the version and exit");
    std::array<CLI::Option*, choices.size()> options{};
    for (std::size_t i = 0; i < choices.size(); ++i)
        options[i] =
            app.add_flag(choices[i].option, choices[i].description)->disable_flag_override();

    dropSession(arguments);
    std::reverse(arguments.begin(), arguments.end()); // the order in which the parser takes them
    CommandLine result;
    try {
        app.parse(std::move(arguments));
        const char* first = nullptr;
        for (std::size_t i = 0; i < choices.size(); ++i) {
            if (options[i]->count() == 0)
                continue;
            if (first != nullptr)
                throw CLI::ExcludesError(choices[i].option, first);
            first = choices[i].option;
            result.request = choices[i].request;
        }
    } catch (const CLI::ParseError& error) {
        std::ostringstream text;
        const int status = app.exit(error, text, text);
        return ProgramExit{status, text.str()};
    }
    return result;
}

std::optional<InstanceRequest> requestOfAction(std::string_view action) {
    for (const Choice& choice : choices)
        if (std::string_view(choice.option).substr(2) == action)
            return choice.request;
    return std::nullopt;
}

} // namespace morvel
