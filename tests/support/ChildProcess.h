// A server or program that a test starts and ends by its own process id.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace morvel::test {

class ChildProcess {
public:
    struct Setup {
        std::vector<std::string> command; // found on the PATH
        // "NAME=value" is added to the test's own, "NAME" taken away from it. Of two that name the
        // same, the first counts.
        std::vector<std::string> environment;
        std::string standardErrorFile; // where its standard error goes; empty: the test's
        std::vector<int> inheritedDescriptors;
        std::string standardOutputFile = {}; // likewise
    };

    // Throws std::runtime_error where the process cannot be started.
    explicit ChildProcess(const Setup& setup);
    // Ends the process if it still runs, and waits for it.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const { return pid_; }
    void signal(int number) const;

    // Waits for the end. Answers the exit status, or 128 + the signal; -1 if `limit` passed first.
    int wait(std::chrono::milliseconds limit);
    bool running();

private:
    pid_t pid_ = -1;
    int status_ = -1; // once ended
    bool ended_ = false;
};

} // namespace morvel::test
