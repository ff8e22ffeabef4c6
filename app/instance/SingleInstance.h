// One Morvel a session: a second start hands what it was asked to the first, and ends.
#pragma once

#include "app/instance/CommandLine.h"
#include "platform/InstanceChannel.h"
#include "platform/Log.h"

#include <functional>
#include <optional>

namespace morvel {

// Main thread only. Build the channel before everything that must be at rest when a successor
// starts (the settings' file): a successor waits until the channel is destroyed, who asked the
// program to end until its process is gone.
class SingleInstance {
public:
    using Handler = std::function<void(InstanceRequest)>;

    SingleInstance(InstanceChannel& channel, Log& log);
    SingleInstance(const SingleInstance&) = delete;
    SingleInstance& operator=(const SingleInstance&) = delete;

    // Answers how the program shall end, or nothing: then this process is the one instance and
    // runs. Where it cannot be told whether another runs, it runs too, and says so in the log.
    // Needs neither a display nor a run loop; may wait a few seconds for a running Morvel.
    std::optional<ProgramExit> start(const CommandLine& commandLine);

    // To be called once the program can do what it is asked for. `handler` gets what this process'
    // own command line asked for before serve() returns, then all that arrives or has arrived since
    // start(), from the main run loop. It is to return soon: who asked waits for it. Nothing comes
    // after InstanceRequest::quit.
    void serve(Handler handler);

private:
    InstanceChannel::Reception receive(std::uint8_t message) const;

    InstanceChannel& channel_;
    Log& log_;
    Handler handler_;
    std::optional<InstanceRequest> own_; // what this process' command line asks for
};

} // namespace morvel
