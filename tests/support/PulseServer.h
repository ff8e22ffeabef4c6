// A real PulseAudio server of the test's own, with a sink that nobody hears.
#pragma once

#include "tests/support/ChildProcess.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace morvel::test {

class PulseServer {
public:
    // `folder` holds the server's socket and state and must outlive it. Does not start it.
    explicit PulseServer(std::filesystem::path folder);

    // Returns when the server accepts clients. Throws std::runtime_error where it cannot start.
    void start();
    // Ends it at once, as a crash would, or politely.
    void kill();
    void stop();
    // Sends it a signal; SIGSTOP makes it hang.
    void signal(int number) { process_->signal(number); }
    bool running() const { return process_ != nullptr; }

    // Sinks besides the first one, "speaker", which is the default until another is made so. Throw
    // std::runtime_error where the server refuses.
    void addSink(const std::string& name) const;
    void setDefaultSink(const std::string& name) const;
    void removeSink(const std::string& name) const;

    // From now on sinks are suspended after a second without sound.
    void makeSinksSleepy() const;
    // Waits until the sink has been suspended; answers whether that was within `limit`.
    bool awaitSuspended(const std::string& sink,
                        std::chrono::milliseconds limit = std::chrono::seconds(20)) const;

    // The source on which what the sink plays can be recorded.
    static constexpr const char* monitor = "speaker.monitor";

    // For the environment of a client whose sound is to be told, but not its delay: libpulse keeps
    // so many milliseconds of it ahead that nobody hears when the machine stands still for some
    // hundredths of a second.
    static constexpr const char* unhurried = "PULSE_LATENCY_MSEC=50";

    // What PULSE_SERVER must be for clients to find this server; valid before start().
    std::string address() const { return "unix:" + socket().string(); }

private:
    std::string order(std::vector<std::string> words) const;
    std::filesystem::path socket() const { return folder_ / "pulse-socket"; }

    std::filesystem::path folder_;
    std::unique_ptr<ChildProcess> process_;
};

} // namespace morvel::test
