// The default output device through libcubeb's PulseAudio backend.
//
// Every call into libcubeb talks to the sound server and may wait for it, so all of them are made
// on a control thread of this adapter; the member functions only leave word for it. When the server
// is lost the control thread tries again: soon at first, then once a second, asleep in between.
// PulseAudio itself moves the stream when the default device changes.
#pragma once

#include "platform/AudioOutput.h"
#include "platform/Log.h"
#include "platform/Scheduler.h"

#include <chrono>
#include <memory>
#include <string>
#include <thread>

namespace morvel {

class CubebAudioOutput : public AudioOutput {
public:
    struct Options {
        std::string applicationName = "Morvel";
        std::string streamName = "Morvel";
        std::uint32_t latencyFrames = 128; // asked for; the server may grant more
        std::chrono::milliseconds firstRetry{100};
        std::chrono::milliseconds longestRetry{1000};
        // How long the destructor waits for a server that does not answer before it leaves the
        // control thread to itself.
        std::chrono::milliseconds patience{500};
    };

    CubebAudioOutput(Scheduler& scheduler, Log& log);
    CubebAudioOutput(Scheduler& scheduler, Log& log, Options options);
    // No render call or event comes after it.
    ~CubebAudioOutput() override;
    CubebAudioOutput(const CubebAudioOutput&) = delete;
    CubebAudioOutput& operator=(const CubebAudioOutput&) = delete;

    void connect(Render render, Events events) override;
    void start() override;
    void pause() override;
    AudioOutputState state() const override;
    std::uint32_t periodFrames() const override;
    std::uint32_t latencyFrames() const override;
    std::string_view serverName() const override { return "PulseAudio"; }

private:
    class Control;
    std::shared_ptr<Control> control_; // shared with its thread, which may outlive this object
    std::thread thread_;
    std::chrono::milliseconds patience_;
};

} // namespace morvel
