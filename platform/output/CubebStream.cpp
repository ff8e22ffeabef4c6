#include "platform/output/CubebStream.h"

#include <atomic>
#include <string_view>

namespace morvel {

namespace {

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

class CubebStream : public ServerStream {
public:
    CubebStream(Listener& listener, const CubebSetup& setup)
        : listener_(listener)
        , setup_(setup) {}
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
    const CubebSetup& setup_;
    std::optional<CubebLibrary> library_;
    cubeb* context_ = nullptr;
    cubeb_stream* stream_ = nullptr;
    std::atomic<bool> failed_ = false;
    std::atomic<std::uint32_t> bufferFrames_ = 0; // 0: nothing has been asked for yet
    std::atomic<pthread_t> audioThread_{};        // none: not seen yet, or hastened already
};

std::optional<std::string> CubebStream::open(const Request& request) {
    failed_ = false;
    bufferFrames_ = 0;
    audioThread_ = pthread_t{};
    if (!library_)
        library_ = setup_.load();
    if (!library_)
        return "libcubeb is missing";
    if (context_ == nullptr) {
        const int status =
            library_->init(&context_, request.applicationName.c_str(), setup_.backend);
        // Without the wished-for backend the library offers the next best one. It would hold the
        // sound card that the server needs when it comes back.
        if (status != CUBEB_OK ||
            std::string_view(library_->backendId(context_)) != setup_.backend) {
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
    if (const pthread_t thread = audioThread_.exchange({}); thread != pthread_t{} && setup_.hasten)
        setup_.hasten(thread);
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

} // namespace

std::unique_ptr<ServerStream> makeCubebStream(ServerStream::Listener& listener,
                                              const CubebSetup& setup) {
    return std::make_unique<CubebStream>(listener, setup);
}

} // namespace morvel
