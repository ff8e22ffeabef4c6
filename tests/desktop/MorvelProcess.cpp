#include "tests/desktop/MorvelProcess.h"

#include "tests/support/BusServer.h"

#include <thread>

namespace morvel::test {

MorvelProcess::MorvelProcess(const std::string& home, std::vector<std::string> environment,
                             const std::vector<std::string>& options, const std::string& program)
    : log_(home + "/log") {
    for (const char* variable : {"HOME=", "XDG_RUNTIME_DIR=", "XDG_CONFIG_HOME=", "XDG_DATA_HOME="})
        environment.push_back(variable + home);
    for (const char* variable : {"WAYLAND_DISPLAY", "PIPEWIRE_REMOTE", "PIPEWIRE_RUNTIME_DIR"})
        environment.emplace_back(variable);
    environment.emplace_back("XDG_SESSION_TYPE=x11");
    for (const char* bus : {"DBUS_SESSION_BUS_ADDRESS=", "DBUS_SYSTEM_BUS_ADDRESS="})
        environment.emplace_back(std::string(bus) + noBus);
    std::vector<std::string> command = {program};
    command.insert(command.end(), options.begin(), options.end());
    process_ = std::make_unique<ChildProcess>(
        ChildProcess::Setup{std::move(command), std::move(environment), log_.path(), {}});
}

void passReopeningPause() {
    std::this_thread::sleep_for(std::chrono::milliseconds(260));
}

} // namespace morvel::test
