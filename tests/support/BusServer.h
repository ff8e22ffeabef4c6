// A real D-Bus daemon of the test's own that starts no services.
#pragma once

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

#include <memory>
#include <string>

namespace morvel::test {

class BusServer {
public:
    // Returns when the daemon accepts clients. Throws std::runtime_error where it cannot.
    BusServer();

    const std::string& address() const { return address_; }

private:
    TemporaryFolder folder_;
    std::unique_ptr<ChildProcess> process_;
    std::string address_;
};

} // namespace morvel::test
