// One connection to the sound server and its stream, as libcubeb gives them. All members may wait
// for the server; one thread uses them, and the listener is called by others.
#pragma once

#include <cubeb/cubeb.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace morvel {

class CubebStream {
public:
    class Listener {
    public:
        virtual ~Listener() = default;
        // The audio thread.
        virtual void render(float* interleaved, std::uint32_t frames) = 0;
        // The stream will render no more. The audio thread or the caller of a member; must neither
        // wait nor call back.
        virtual void streamFailed() = 0;
    };

    explicit CubebStream(Listener& listener)
        : listener_(listener) {}
    ~CubebStream() { disconnect(); }
    CubebStream(const CubebStream&) = delete;
    CubebStream& operator=(const CubebStream&) = delete;

    // Connects when necessary, opens a stereo stream and starts it. Answers nothing, or why it
    // failed; then everything is closed again.
    std::optional<std::string> open(const char* application, const char* name,
                                    std::uint32_t latencyFrames);
    bool isOpen() const { return stream_ != nullptr; }

    // Stops rendering; the connection stays for the next open().
    void close();
    void disconnect();

private:
    static long dataCallback(cubeb_stream* stream, void* user, const void* input, void* output,
                             long frames);
    static void stateCallback(cubeb_stream* stream, void* user, cubeb_state state);

    Listener& listener_;
    cubeb* context_ = nullptr;
    cubeb_stream* stream_ = nullptr;
};

} // namespace morvel
