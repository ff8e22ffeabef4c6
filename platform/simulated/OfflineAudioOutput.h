// An output with no device: it renders when a test asks, and goes away and comes back when a test
// says so. One thread drives it, but start() and state() may be called by any.
#pragma once

#include "platform/AudioOutput.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace morvel {

class OfflineAudioOutput : public AudioOutput {
public:
    void connect(Render render, Events events) override {
        render_ = std::move(render);
        events_ = std::move(events);
    }

    void start() override {
        ++starts_;
        if (slow_) {
            if (state_ != AudioOutputState::lost)
                state_ = AudioOutputState::starting;
            return;
        }
        if (absent_) {
            lose("no server");
            return;
        }
        state_ = AudioOutputState::running;
    }

    void pause() override {
        ++pauses_;
        outage_ = false;
        state_ = AudioOutputState::paused;
    }

    AudioOutputState state() const override { return state_; }
    std::uint32_t periodFrames() const override { return 128; }
    std::uint32_t latencyFrames() const override { return 128; }
    std::string_view serverName() const override { return name_; }

    // `frames` interleaved stereo frames, in blocks of `framesPerBlock`; silence unless running.
    std::vector<float> render(std::size_t frames, std::uint32_t framesPerBlock = 128) {
        std::vector<float> out(2 * frames);
        for (std::size_t done = 0; done < frames && state_ == AudioOutputState::running;) {
            const auto count = static_cast<std::uint32_t>(
                frames - done < framesPerBlock ? frames - done : framesPerBlock);
            render_(out.data() + 2 * done, count);
            done += count;
        }
        return out;
    }

    // One render call as the device's thread makes it.
    void renderInto(float* interleaved, std::uint32_t frames) { render_(interleaved, frames); }

    // Starting takes until finishStarting().
    void setSlow(bool slow) { slow_ = slow; }
    void finishStarting() { state_ = AudioOutputState::running; }

    void setServerName(std::string_view name) { name_ = name; }

    // No server from the beginning.
    void setAbsent(bool absent) { absent_ = absent; }

    void lose(const std::string& error) {
        if (std::exchange(outage_, true))
            return;
        state_ = AudioOutputState::lost;
        absent_ = true;
        events_.failed(error);
    }
    void comeBack() {
        absent_ = false;
        outage_ = false;
        state_ = AudioOutputState::running;
        events_.configurationChanged();
    }
    void changeConfiguration() { events_.configurationChanged(); }

    int starts() const { return starts_; }
    int pauses() const { return pauses_; }

private:
    Render render_;
    Events events_;
    std::atomic<AudioOutputState> state_ = AudioOutputState::stopped;
    std::atomic<int> starts_ = 0;
    std::atomic<int> pauses_ = 0;
    std::string_view name_ = "Offline";
    bool slow_ = false;
    bool absent_ = false;
    bool outage_ = false;
};

} // namespace morvel
