// The default output device through a sound server.
//
// A control thread of this adapter makes all calls into the server's library, since they may wait
// for the server; the member functions leave word for it. When the server goes away, or has no
// device, that thread tries again: soon at first, then once a second, asleep in between. While
// there is not even a server's socket it sleeps until there is one, whatever is asked for
// meanwhile.
#pragma once

#include "platform/AudioOutput.h"
#include "platform/Log.h"
#include "platform/Scheduler.h"
#include "platform/output/ServerStream.h"

#include <chrono>
#include <memory>
#include <thread>

namespace morvel {

class ServerAudioOutput : public AudioOutput {
public:
    struct Options {
        ServerStream::Request stream = {};
        std::chrono::milliseconds firstRetry{100};
        std::chrono::milliseconds longestRetry{1000};
        // While there is no socket: it may be another one than the environment tells.
        std::chrono::milliseconds missingRetry{10000};
        // A server that takes no sound for this long counts as lost.
        std::chrono::milliseconds answerLimit{1000};
        // The same after a pause: a device may take its time to wake.
        std::chrono::milliseconds wakeLimit{2500};
        // How long the destructor waits for a server that does not answer before it leaves the
        // control thread to itself.
        std::chrono::milliseconds patience{500};
    };

    ServerAudioOutput(const OutputServer& server, Scheduler& scheduler, Log& log);
    ServerAudioOutput(const OutputServer& server, Scheduler& scheduler, Log& log, Options options);
    // No render call or event comes after it.
    ~ServerAudioOutput() override;
    ServerAudioOutput(const ServerAudioOutput&) = delete;
    ServerAudioOutput& operator=(const ServerAudioOutput&) = delete;

    void connect(Render render, Events events) override;
    void start() override;
    void pause() override;
    AudioOutputState state() const override;
    std::uint32_t periodFrames() const override;
    std::uint32_t latencyFrames() const override;
    std::string_view serverName() const override;

private:
    class Control;
    std::shared_ptr<Control> control_; // shared with its thread, which may outlive this object
    std::thread thread_;
};

} // namespace morvel
