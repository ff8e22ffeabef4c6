#include "tests/support/XServer.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace morvel::test {

XServer::XServer(const Screen& screen) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe for the X server's display number");
    const std::string size =
        std::to_string(screen.width) + "x" + std::to_string(screen.height) + "x24";
    process_ = std::make_unique<ChildProcess>(ChildProcess::Setup{
        .command = {"Xvfb", "-displayfd", std::to_string(ends[1]), "-screen", "0", size, "-dpi",
                    std::to_string(screen.dpi), "-nolisten", "tcp", "-noreset"},
        .environment = {},
        .standardErrorFile = "/dev/null",
        .inheritedDescriptors = {ends[1]}});
    close(ends[1]);
    // The server writes its display number and a newline once it listens.
    std::string number;
    pollfd readable{ends[0], POLLIN, 0};
    char c = 0;
    while (poll(&readable, 1, 20000) == 1 && read(ends[0], &c, 1) == 1 && c != '\n')
        number.push_back(c);
    close(ends[0]);
    if (c != '\n' || number.empty())
        throw std::runtime_error("the X server did not start");
    display_ = ":" + number;
}

} // namespace morvel::test
