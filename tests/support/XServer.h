// A real X server (Xvfb) of the test's own.
#pragma once

#include "tests/support/ChildProcess.h"

#include <memory>
#include <string>

namespace morvel::test {

class XServer {
public:
    // Returns when the server accepts clients. Throws std::runtime_error where it cannot.
    XServer();

    const std::string& display() const { return display_; } // ":7"
    ChildProcess& process() { return *process_; }

private:
    std::unique_ptr<ChildProcess> process_;
    std::string display_;
};

} // namespace morvel::test
