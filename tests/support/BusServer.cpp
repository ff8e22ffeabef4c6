#include "tests/support/BusServer.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace morvel::test {

BusServer::BusServer() {
    const auto configuration = folder_.file(
        "bus.conf", "<busconfig><type>session</type><listen>unix:dir=" + folder_.path().string() +
                        R"(</listen><auth>EXTERNAL</auth><policy context="default">)"
                        R"(<allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/>)"
                        R"(<allow own="*"/></policy></busconfig>)");
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe for the bus's address");
    process_ = std::make_unique<ChildProcess>(
        ChildProcess::Setup{.command = {"dbus-daemon", "--config-file=" + configuration.string(),
                                        "--nofork", "--print-address=" + std::to_string(ends[1])},
                            .environment = {},
                            .standardErrorFile = "/dev/null",
                            .inheritedDescriptors = {ends[1]}});
    close(ends[1]);
    // The daemon writes its address and a newline once it listens.
    pollfd readable{ends[0], POLLIN, 0};
    char c = 0;
    while (poll(&readable, 1, 20000) == 1 && read(ends[0], &c, 1) == 1 && c != '\n')
        address_.push_back(c);
    close(ends[0]);
    if (c != '\n' || address_.empty())
        throw std::runtime_error("the bus did not start");
}

} // namespace morvel::test
