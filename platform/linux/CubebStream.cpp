#include "platform/linux/CubebStream.h"

#include "platform/linux/RealtimeThread.h"

#include <cubeb/cubeb.h>
#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <string_view>
#include <type_traits>

namespace morvel {

namespace {

constexpr const char* backend = "pulse";

std::string describe(int error) {
    switch (error) {
    case CUBEB_ERROR_INVALID_FORMAT:
        return "the format is not supported";
    case CUBEB_ERROR_INVALID_PARAMETER:
        return "invalid parameter";
    case CUBEB_ERROR_NOT_SUPPORTED:
        return "not supported";
    case CUBEB_ERROR_DEVICE_UNAVAILABLE:
        return "the device is not available";
    default:
        return "the sound server refused";
    }
}

// The library, loaded for the first connection: what it links takes more than a megabyte of memory,
// which nobody shall pay for whose PipeWire plays.
struct Library {
    decltype(&cubeb_init) init = nullptr;
    decltype(&cubeb_destroy) destroy = nullptr;
    decltype(&cubeb_get_backend_id) backendId = nullptr;
    decltype(&cubeb_stream_init) streamInit = nullptr;
    decltype(&cubeb_stream_start) streamStart = nullptr;
    decltype(&cubeb_stream_stop) streamStop = nullptr;
    decltype(&cubeb_stream_destroy) streamDestroy = nullptr;

    // Whether all of it is there.
    bool load() {
        void* const file = dlopen("libcubeb.so.0", RTLD_NOW | RTLD_LOCAL); // never unloaded
        const auto find = [file](const char* name, auto& function) {
            if (file != nullptr)
                function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(
                    dlsym(file, name));
            return function != nullptr;
        };
        return find("cubeb_init", init) && find("cubeb_destroy", destroy) &&
               find("cubeb_get_backend_id", backendId) && find("cubeb_stream_init", streamInit) &&
               find("cubeb_stream_start", streamStart) && find("cubeb_stream_stop", streamStop) &&
               find("cubeb_stream_destroy", streamDestroy);
    }
};

class CubebStream : public ServerStream {
public:
    explicit CubebStream(Listener& listener)
        : listener_(listener) {}
    ~CubebStream() override { disconnect(); }
    CubebStream(const CubebStream&) = delete;
    CubebStream& operator=(const CubebStream&) = delete;

    std::optional<std::string> open(const Request& request) override;
    // The connection stays for the next open().
    void rest() override;
    void resume() override {}
    void close() override { disconnect(); }
    Flow flow() const override {
        if (stream_ == nullptr)
            return Flow::closed;
        return failed_ ? Flow::failed : Flow::streaming;
    }
    std::string error() const override { return "the sound server closed the stream"; }
    void hastenAudioThread() override;
    std::uint32_t latencyFrames(std::uint32_t) const override { return bufferFrames_; }

private:
    static long dataCallback(cubeb_stream* stream, void* user, const void* input, void* output,
                             long frames);
    static void stateCallback(cubeb_stream* stream, void* user, cubeb_state state);
    void disconnect();

    Listener& listener_;
    std::optional<Library> library_;
    cubeb* context_ = nullptr;
    cubeb_stream* stream_ = nullptr;
    std::atomic<bool> failed_ = false;
    std::atomic<std::uint32_t> bufferFrames_ = 0; // 0: nothing has been asked for yet
    std::atomic<pthread_t> audioThread_ = 0;      // 0: not seen yet, or hastened already
};

std::optional<std::string> CubebStream::open(const Request& request) {
    failed_ = false;
    bufferFrames_ = 0;
    audioThread_ = 0;
    if (!library_ && !library_.emplace().load()) {
        library_.reset();
        return "libcubeb is missing";
    }
    if (context_ == nullptr) {
        const int status = library_->init(&context_, request.applicationName.c_str(), backend);
        // Without the wished-for backend the library offers the next best one. It would hold the
        // sound card that the server needs when it comes back.
        if (status != CUBEB_OK || std::string_view(library_->backendId(context_)) != backend) {
            if (status == CUBEB_OK)
                library_->destroy(context_);
            context_ = nullptr;
            return "no sound server";
        }
    }
    cubeb_stream_params format = {};
    format.format = CUBEB_SAMPLE_FLOAT32NE;
    format.rate = 44100;
    format.channels = 2;
    format.layout = CUBEB_LAYOUT_STEREO;
    format.prefs = CUBEB_STREAM_PREF_NONE;
    int status = library_->streamInit(context_, &stream_, request.streamName.c_str(), nullptr,
                                      nullptr, nullptr, &format, request.latencyFrames,
                                      dataCallback, stateCallback, this);
    if (status != CUBEB_OK)
        stream_ = nullptr;
    else
        status = library_->streamStart(stream_);
    if (status != CUBEB_OK) {
        disconnect();
        return describe(status);
    }
    return std::nullopt;
}

void CubebStream::rest() {
    if (stream_ == nullptr)
        return;
    library_->streamStop(stream_);
    library_->streamDestroy(stream_);
    stream_ = nullptr;
}

void CubebStream::disconnect() {
    CubebStream::rest();
    if (context_ == nullptr)
        return;
    library_->destroy(context_);
    context_ = nullptr;
}

// Where it is refused the thread stays an ordinary one, which is enough on a machine at ease.
void CubebStream::hastenAudioThread() {
    if (const pthread_t thread = audioThread_.exchange(0); thread != 0)
        makeRealtime(thread);
}

long CubebStream::dataCallback(cubeb_stream*, void* user, const void*, void* output, long frames) {
    CubebStream& self = *static_cast<CubebStream*>(user);
    self.listener_.render(static_cast<float*>(output), static_cast<std::uint32_t>(frames));
    // The first call fills the server's buffer, the others keep it full.
    if (self.bufferFrames_ == 0) {
        self.bufferFrames_ = static_cast<std::uint32_t>(frames);
        self.audioThread_ = pthread_self();
    }
    return frames;
}

void CubebStream::stateCallback(cubeb_stream*, void* user, cubeb_state state) {
    if (state != CUBEB_STATE_ERROR && state != CUBEB_STATE_DRAINED)
        return;
    CubebStream& self = *static_cast<CubebStream*>(user);
    self.failed_ = true;
    self.listener_.wake();
}

// The first of a list of servers, if it listens on this machine. Before the address may stand, in
// braces, the one machine that it is meant for.
std::filesystem::path firstSocket(std::string_view servers) {
    constexpr std::string_view blanks = " \t\r\n";
    constexpr std::string_view scheme = "unix:";
    servers.remove_prefix(std::min(servers.find_first_not_of(blanks), servers.size()));
    std::string_view server = servers.substr(0, servers.find_first_of(blanks));
    if (server.starts_with('{')) {
        const std::size_t end = server.find('}');
        server = end == std::string_view::npos ? std::string_view() : server.substr(end + 1);
    }
    if (server.starts_with(scheme))
        server.remove_prefix(scheme.size());
    return server.starts_with('/') ? std::filesystem::path(server) : std::filesystem::path();
}

std::filesystem::path socketOf(const Environment& environment) {
    if (const auto server = environment("PULSE_SERVER"))
        return firstSocket(*server);
    if (const auto folder = environment("PULSE_RUNTIME_PATH"))
        return std::filesystem::path(*folder) / "native";
    if (const auto folder = environment("XDG_RUNTIME_DIR"))
        return std::filesystem::path(*folder) / "pulse" / "native";
    return {};
}

std::unique_ptr<ServerStream> makeCubebStream(ServerStream::Listener& listener) {
    return std::make_unique<CubebStream>(listener);
}

} // namespace

const OutputServer pulseAudioServer{"PulseAudio", socketOf, makeCubebStream};

} // namespace morvel
