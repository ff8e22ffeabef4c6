// The way out to the default output device. Adapters: platform/output over a server:
// platform/linux (PipeWire; PulseAudio through cubeb), platform/macos (Core Audio through cubeb);
// platform/simulated (rendered when a test asks, with no device).
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace morvel {

// Life of an output:
//
//   stopped --start()--> starting --> running --pause()--> paused --start()--> starting
//                            |           |
//                            +--> lost <-+   (no server, server died, no device)
//                                  |
//                                  +--> running, by itself, as soon as a server is there again
//
// pause() leads from each of them to paused, and ends an outage: an output that is paused looks for
// no server, and start() begins anew.
//
// Opening a device means talking to a sound server that may be slow, dead or absent, so an adapter
// does it on a thread of its own: no member function ever waits for a server.
enum class AudioOutputState : std::uint8_t { stopped, starting, running, paused, lost };

class AudioOutput {
public:
    // Fills `frames` interleaved stereo frames (2 * frames floats, nominally -1 to 1) at 44,100 Hz.
    // Called on the audio thread; `frames` may differ from call to call.
    using Render = std::function<void(float* interleaved, std::uint32_t frames)>;

    // What an adapter reports. All are called on the main thread.
    struct Events {
        // Output became audible for the first time after a start() from stopped.
        std::function<void()> started;
        // Output could not be opened or was lost; `error` says why. Once an outage: it is not
        // repeated while the adapter keeps trying.
        std::function<void(const std::string& error)> failed;
        // The device or its format changed while output ran, or output is back after an outage. Not
        // every server tells of the former: PulseAudio leads its streams to another device by
        // itself, and they play on there without a word.
        std::function<void()> configurationChanged;
    };

    virtual ~AudioOutput() = default;

    // Call once, on the main thread, before the first start().
    virtual void connect(Render render, Events events) = 0;

    // Asks for output to run. Idempotent, returns at once: the outcome arrives through Events and
    // state(). Resumes a paused output; hastens the next attempt of a lost one. Any thread but the
    // audio thread.
    virtual void start() = 0;

    // Lets the device sleep, and looks for a lost one no more: no render calls and no wake-ups
    // until the next start(). Main thread.
    virtual void pause() = 0;

    // Any thread; never blocks.
    virtual AudioOutputState state() const = 0;

    // What the server granted: frames per period and output latency in frames; 0 while not known.
    virtual std::uint32_t periodFrames() const = 0;
    virtual std::uint32_t latencyFrames() const = 0;

    // The sound server as people call it: the one that plays, or that was last asked. The text
    // lives for ever. Any thread; never blocks.
    virtual std::string_view serverName() const = 0;
};

} // namespace morvel
