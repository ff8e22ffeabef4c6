// Tells when a program's sound runs, by asking the sound server.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <string>

namespace morvel::bench {

class SoundStreams {
public:
    // Watches the server at this address. Throws std::runtime_error where it cannot be reached.
    explicit SoundStreams(const std::string& server);
    ~SoundStreams();
    SoundStreams(const SoundStreams&) = delete;
    SoundStreams& operator=(const SoundStreams&) = delete;

    // Waits until the process has opened a stream and started it; answers whether it had within
    // `limit`.
    bool awaitRunning(pid_t process, std::chrono::milliseconds limit = std::chrono::seconds(20));

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace morvel::bench
