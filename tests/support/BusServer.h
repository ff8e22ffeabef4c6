// A real D-Bus daemon of the test's own that starts no services.
#pragma once

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

#include <memory>
#include <string>

namespace morvel::test {

// The address for whoever is to find no bus. Without any address libdbus would start one that
// outlives the test, or forget what it had read where it has nothing to start one with.
inline constexpr const char* noBus = "unix:path=/nonexistent";

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
