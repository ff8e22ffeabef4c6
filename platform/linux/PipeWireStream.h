// One connection to PipeWire and its stream. Nothing here waits for the server: what it answers is
// heard of while the loop runs. One thread, the loop's, uses all members; the listener is called by
// the audio thread.
#pragma once

#include <pipewire/pipewire.h>

#include <cstdint>
#include <optional>
#include <string>

namespace morvel {

class PipeWireStream {
public:
    class Listener {
    public:
        virtual ~Listener() = default;
        // The audio thread.
        virtual void render(float* interleaved, std::uint32_t frames) = 0;
    };

    enum class Flow : std::uint8_t {
        closed,    // not opened, or closed again
        awaited,   // nobody takes sound: the server has not answered, or there is no device
        streaming, // sound is asked for
        failed,    // the server has gone away or refused; close() and open() anew
    };

    // A loop for a stream, to be destroyed by the caller; null where the library does not start.
    static pw_loop* makeLoop();

    PipeWireStream(pw_loop& loop, Listener& listener)
        : loop_(loop)
        , listener_(listener) {}
    ~PipeWireStream();
    PipeWireStream(const PipeWireStream&) = delete;
    PipeWireStream& operator=(const PipeWireStream&) = delete;

    // Asks the server for a stereo stream at 44,100 Hz to the default device and starts it. Answers
    // nothing, or why there is nobody to ask; then everything is closed again.
    std::optional<std::string> open(const std::string& application, const std::string& name,
                                    std::uint32_t latencyFrames);
    // An inactive stream asks for no sound and wakes nobody.
    void setActive(bool active);
    void close();

    Flow flow() const;
    // Why it failed.
    const std::string& error() const { return error_; }
    // Whether the server has answered since the stream was opened.
    bool answered() const { return answered_; }
    // The clock that drives the stream: another device has another one. Nothing while not known.
    std::optional<std::uint32_t> clock() const;
    // The way to the device and through the server's converters, in frames of the stream.
    std::uint32_t delayFrames() const;

private:
    static const pw_core_events& coreEvents();
    static const pw_stream_events& streamEvents();
    std::optional<std::string> connect();
    void process();

    pw_loop& loop_;
    Listener& listener_;
    pw_context* context_ = nullptr;
    pw_core* core_ = nullptr;
    pw_stream* stream_ = nullptr;
    spa_hook coreHook_{};
    spa_hook streamHook_{};
    const spa_io_position* position_ = nullptr; // the server's memory
    bool answered_ = false;
    bool failed_ = false;
    std::string error_;
};

} // namespace morvel
