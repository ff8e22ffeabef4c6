// A real X server (Xvfb) of the test's own.
#pragma once

#include "tests/support/ChildProcess.h"

#include <memory>
#include <string>

namespace morvel::test {

class XServer {
public:
    struct Screen {
        int width = 1280;
        int height = 800;
        int dpi = 96;
    };

    // Returns when the server accepts clients. Throws std::runtime_error where it cannot.
    XServer()
        : XServer(Screen{}) {}
    explicit XServer(const Screen& screen);

    const std::string& display() const { return display_; } // ":7"
    ChildProcess& process() { return *process_; }

private:
    std::unique_ptr<ChildProcess> process_;
    std::string display_;
};

} // namespace morvel::test
