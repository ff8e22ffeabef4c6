// The whole program, started in a desktop of the test's own.
#pragma once

#include "tests/support/ChildProcess.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace morvel::test {

class MorvelProcess {
public:
    // `environment` ("NAME=value") is added to the test's own; the user's folders are in `home`.
    MorvelProcess(const std::string& home, std::vector<std::string> environment);
    ~MorvelProcess();
    MorvelProcess(const MorvelProcess&) = delete;
    MorvelProcess& operator=(const MorvelProcess&) = delete;

    // Reads the log until a line holds `text`; answers whether one did within `limit`. Lines that
    // went by before are looked at too.
    bool awaitLine(const std::string& text,
                   std::chrono::milliseconds limit = std::chrono::seconds(20));

    // All lines read so far, and with drain() all that there are by now.
    const std::vector<std::string>& lines() const { return lines_; }
    void drain();
    std::size_t count(const std::string& text) const;

    ChildProcess& process() { return *process_; }

private:
    bool readMore(std::chrono::milliseconds limit);

    int log_ = -1;
    std::string unfinished_;
    std::vector<std::string> lines_;
    std::unique_ptr<ChildProcess> process_;
};

} // namespace morvel::test
