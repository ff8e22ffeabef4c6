// A real PipeWire of the test's own, with a session manager and two sinks that nobody hears.
#pragma once

#include "tests/support/ChildProcess.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace morvel::test {

class PipeWireServer {
public:
    // `folder` holds the server's socket, configuration and state and must outlive it. Does not
    // start it.
    explicit PipeWireServer(std::filesystem::path folder);

    enum class Sinks {
        awake,  // as sound cards are whose owner listens to music
        sleepy, // suspended after a second without sound
        none,
    };
    // Before start(); else they are awake.
    void use(Sinks sinks);

    // Returns when clients are led to the first sink, if there is one. Throws std::runtime_error
    // where it cannot start.
    void start();
    // The session manager alone: without it no client is led to a sink.
    void startManager();
    void stopManager() { manager_.reset(); }
    // Makes what the first sink plays go to the second one, too, as programs do that pass sound on:
    // one clock then drives both. Throws std::runtime_error where the server refuses.
    void tie(const std::string& from, const std::string& to) const;
    // Ends it at once, as a crash would, or politely.
    void kill();
    void stop();
    // Sends it a signal; SIGSTOP makes it hang.
    void signal(int number) { server_->signal(number); }

    // The names of the sinks. The first one is the default.
    static constexpr const char* speaker = "speaker";
    static constexpr const char* headphones = "headphones";

    // What PIPEWIRE_RUNTIME_DIR must be for clients to find this server; valid before start().
    std::string runtimeFolder() const { return folder_.string(); }
    // The server's socket.
    std::string address() const { return (folder_ / "pipewire-0").string(); }

private:
    std::unique_ptr<ChildProcess> run(const std::string& program,
                                      const std::vector<std::string>& arguments = {}) const;

    std::filesystem::path folder_;
    Sinks sinks_ = Sinks::awake;
    std::unique_ptr<ChildProcess> server_;
    std::unique_ptr<ChildProcess> manager_;
};

} // namespace morvel::test
