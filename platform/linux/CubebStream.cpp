#include "platform/linux/CubebStream.h"

#include <string_view>

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

} // namespace

std::optional<std::string> CubebStream::open(const char* application, const char* name,
                                             std::uint32_t latencyFrames) {
    if (context_ == nullptr) {
        const int status = cubeb_init(&context_, application, backend);
        // Without the wished-for backend the library offers the next best one. It would hold the
        // sound card that the server needs when it comes back.
        if (status != CUBEB_OK || std::string_view(cubeb_get_backend_id(context_)) != backend) {
            if (status == CUBEB_OK)
                cubeb_destroy(context_);
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
    int status = cubeb_stream_init(context_, &stream_, name, nullptr, nullptr, nullptr, &format,
                                   latencyFrames, dataCallback, stateCallback, this);
    if (status != CUBEB_OK)
        stream_ = nullptr;
    else
        status = cubeb_stream_start(stream_);
    if (status != CUBEB_OK) {
        disconnect();
        return describe(status);
    }
    return std::nullopt;
}

void CubebStream::close() {
    if (stream_ == nullptr)
        return;
    cubeb_stream_stop(stream_);
    cubeb_stream_destroy(stream_);
    stream_ = nullptr;
}

void CubebStream::disconnect() {
    close();
    if (context_ == nullptr)
        return;
    cubeb_destroy(context_);
    context_ = nullptr;
}

long CubebStream::dataCallback(cubeb_stream*, void* user, const void*, void* output, long frames) {
    static_cast<CubebStream*>(user)->listener_.render(static_cast<float*>(output),
                                                      static_cast<std::uint32_t>(frames));
    return frames;
}

void CubebStream::stateCallback(cubeb_stream*, void* user, cubeb_state state) {
    if (state == CUBEB_STATE_ERROR || state == CUBEB_STATE_DRAINED)
        static_cast<CubebStream*>(user)->listener_.streamFailed();
}

} // namespace morvel
