// A connection to a sound server and its stream to the default device, stereo at 44,100 Hz. One
// thread, an output's control thread, uses all members and may have to wait for the server in them.
#pragma once

#include "platform/Environment.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace morvel {

class ServerStream {
public:
    class Listener {
    public:
        virtual ~Listener() = default;
        // The audio thread.
        virtual void render(float* interleaved, std::uint32_t frames) = 0;
        // flow() has something new to tell. Any thread; does not wait.
        virtual void wake() = 0;
    };

    struct Request {
        std::string applicationName = "Morvel";
        std::string streamName = "Morvel";
        std::uint32_t latencyFrames = 128; // the server may grant more
    };

    enum class Flow : std::uint8_t {
        closed,    // not opened, or closed again
        awaited,   // nobody takes sound: the stream rests, or flow() will change by itself
        streaming, // sound is asked for
        failed,    // the server has gone away or refused; close() and open() anew
    };

    virtual ~ServerStream() = default;

    // Connects when necessary and starts a stream. Answers nothing, or why it failed; then
    // everything is closed again.
    virtual std::optional<std::string> open(const Request& request) = 0;
    // A resting stream asks for no sound and wakes nobody. Where that takes closing it, open() is
    // what resumes it.
    virtual void rest() = 0;
    virtual void resume() = 0;
    virtual void close() = 0;

    virtual Flow flow() const = 0;
    // Why it failed, or what is awaited.
    virtual std::string error() const = 0;
    // The device that the server leads the stream to, by the server's number. Nothing while not
    // known, or where nobody needs to know.
    virtual std::optional<std::uint32_t> device() const { return std::nullopt; }
    // For an audio thread to which the library itself gives no precedence; once sound flows.
    virtual void hastenAudioThread() {}
    // From rendering to the device, in frames, where the server asks for `period` frames at a time.
    virtual std::uint32_t latencyFrames(std::uint32_t period) const = 0;

    // Readable when serve() has something to do; -1: never.
    virtual int descriptor() const { return -1; }
    virtual void serve() {}
};

// Tells when a server that is missing is there again. An output's control thread.
class ServerWatch {
public:
    virtual ~ServerWatch() = default;
    // Whether there is no server, and its coming will be told.
    virtual bool missing() const = 0;
    // Readable when appeared() has something to look at; -1: never.
    virtual int descriptor() const = 0;
    // Whether it has appeared since the last call. Does not wait.
    virtual bool appeared() = 0;
};

// A kind of server.
struct OutputServer {
    std::string_view name; // as people call it
    // Where it listens, as far as the environment tells; else empty.
    std::filesystem::path (*socket)(const Environment& environment);
    std::unique_ptr<ServerStream> (*makeStream)(ServerStream::Listener& listener);
    // Watches for that place. Null: the server is never missing.
    std::unique_ptr<ServerWatch> (*watch)(const std::filesystem::path& socket) = nullptr;
};

} // namespace morvel
