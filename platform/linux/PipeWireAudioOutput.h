// The default output device through PipeWire.
//
// A thread of this adapter runs PipeWire's loop and is the only one to use its library; the member
// functions leave word for it. When the server goes away, or has no device, that thread tries
// again: soon at first, then once a second, asleep in between. The server moves the stream when the
// default device changes, which is a change of configuration here.
//
// The environment (PIPEWIRE_REMOTE, PIPEWIRE_RUNTIME_DIR, XDG_RUNTIME_DIR) names the server.
#pragma once

#include "platform/AudioOutput.h"
#include "platform/Log.h"
#include "platform/Scheduler.h"

#include <chrono>
#include <memory>
#include <string>
#include <thread>

namespace morvel {

class PipeWireAudioOutput : public AudioOutput {
public:
    struct Options {
        std::string applicationName = "Morvel";
        std::string streamName = "Morvel";
        std::uint32_t latencyFrames = 128; // asked for; the server may grant more
        std::chrono::milliseconds firstRetry{100};
        std::chrono::milliseconds longestRetry{1000};
        // A server that takes no sound for this long counts as lost.
        std::chrono::milliseconds answerLimit{1000};
        // How long the destructor waits for its thread before it leaves it to itself.
        std::chrono::milliseconds patience{500};
    };

    PipeWireAudioOutput(Scheduler& scheduler, Log& log);
    PipeWireAudioOutput(Scheduler& scheduler, Log& log, Options options);
    // No render call or event comes after it.
    ~PipeWireAudioOutput() override;
    PipeWireAudioOutput(const PipeWireAudioOutput&) = delete;
    PipeWireAudioOutput& operator=(const PipeWireAudioOutput&) = delete;

    void connect(Render render, Events events) override;
    void start() override;
    void pause() override;
    AudioOutputState state() const override;
    std::uint32_t periodFrames() const override;
    std::uint32_t latencyFrames() const override;
    std::string_view serverName() const override { return "PipeWire"; }

private:
    class Control;
    std::shared_ptr<Control> control_; // shared with its thread, which may outlive this object
    std::thread thread_;
    std::chrono::milliseconds patience_;
};

} // namespace morvel
