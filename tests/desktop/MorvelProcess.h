// The whole program, started in a desktop of the test's own.
#pragma once

#include "tests/support/ChildProcess.h"
#include "tests/support/LinePipe.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace morvel::test {

class MorvelProcess {
public:
    // `environment` ("NAME=value") is added to the test's own; the user's folders are in `home`,
    // where it does not say otherwise. `program` is another copy than the build's.
    MorvelProcess(const std::string& home, std::vector<std::string> environment,
                  const std::vector<std::string>& options = {},
                  const std::string& program = MORVEL_PROGRAM);

    // Reads the log until a line holds `text`; answers whether one did within `limit`. Lines that
    // went by before are looked at too.
    bool awaitLine(const std::string& text,
                   std::chrono::milliseconds limit = std::chrono::seconds(20)) {
        return log_.await(text, limit);
    }

    // All lines read so far, and with drain() all that there are by now.
    const std::vector<std::string>& lines() const { return log_.lines(); }
    void drain() { log_.drain(); }
    std::size_t count(const std::string& text) const { return log_.count(text); }

    ChildProcess& process() { return *process_; }

private:
    LinePipe log_;
    std::unique_ptr<ChildProcess> process_;
};

// Right after the drawer has closed a click on the icon does not open it, and a second click is
// half of a double one. No event ends that time: it is the hand that waits.
void passReopeningPause();

} // namespace morvel::test
