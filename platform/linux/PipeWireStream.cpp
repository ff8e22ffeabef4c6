#include "platform/linux/PipeWireStream.h"

#include <fmt/format.h>
#include <spa/param/audio/format-utils.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <mutex>
#include <system_error>
#include <utility>

namespace morvel {

namespace {

constexpr std::uint32_t rate = 44100;
constexpr std::uint32_t channels = 2;
constexpr std::uint32_t frameBytes = channels * sizeof(float);

std::string describe(int error) {
    return std::generic_category().message(error);
}

// To be freed by the context or stream that takes them.
pw_properties* properties(std::initializer_list<std::pair<const char*, std::string>> values) {
    pw_properties* const result = pw_properties_new(nullptr, nullptr);
    for (const auto& [key, value] : values)
        pw_properties_set(result, key, value.c_str());
    return result;
}

} // namespace

pw_loop* PipeWireStream::makeLoop() {
    static std::once_flag once;
    std::call_once(once, [] {
        pw_init(nullptr, nullptr);
        // It complains with every attempt where only the library is installed. Whoever wants more
        // (PIPEWIRE_DEBUG) gets it.
        if (pw_log_level <= SPA_LOG_LEVEL_WARN)
            pw_log_set_level(SPA_LOG_LEVEL_NONE);
    });
    return pw_loop_new(nullptr);
}

PipeWireStream::~PipeWireStream() {
    close();
    if (context_ != nullptr)
        pw_context_destroy(context_);
}

std::optional<std::string> PipeWireStream::open(const std::string& application,
                                                const std::string& name,
                                                std::uint32_t latencyFrames) {
    answered_ = false;
    failed_ = false;
    error_.clear();
    if (context_ == nullptr) {
        // This configuration is the one whose audio thread goes before ordinary ones.
        context_ = pw_context_new(&loop_, properties({{PW_KEY_CONFIG_NAME, "client-rt.conf"}}), 0);
        if (context_ == nullptr)
            return "PipeWire's library does not start: " + describe(errno);
    }
    core_ = pw_context_connect(context_, properties({{PW_KEY_APP_NAME, application}}), 0);
    if (core_ == nullptr) {
        // Where there is no server its library must not take the memory it would.
        pw_context_destroy(std::exchange(context_, nullptr));
        return "no sound server";
    }
    pw_proxy_add_object_listener(reinterpret_cast<pw_proxy*>(core_), &coreHook_, &coreEvents(),
                                 this);
    stream_ = pw_stream_new(
        core_, name.c_str(),
        properties({{PW_KEY_MEDIA_TYPE, "Audio"},
                    {PW_KEY_MEDIA_CATEGORY, "Playback"},
                    {PW_KEY_MEDIA_ROLE, "Game"}, // the role of quick answers
                    {PW_KEY_APP_NAME, application},
                    {PW_KEY_NODE_NAME, application},
                    {PW_KEY_NODE_RATE, fmt::format("1/{}", rate)},
                    {PW_KEY_NODE_LATENCY, fmt::format("{}/{}", latencyFrames, rate)}}));
    auto refused = stream_ == nullptr ? describe(errno) : connect();
    if (refused)
        close();
    return refused;
}

std::optional<std::string> PipeWireStream::connect() {
    pw_stream_add_listener(stream_, &streamHook_, &streamEvents(), this);
    std::array<std::uint8_t, 1024> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), static_cast<std::uint32_t>(memory.size()));
    spa_audio_info_raw format{};
    format.format = SPA_AUDIO_FORMAT_F32;
    format.rate = rate;
    format.channels = channels;
    format.position[0] = SPA_AUDIO_CHANNEL_FL;
    format.position[1] = SPA_AUDIO_CHANNEL_FR;
    const spa_pod* parameters[] = {
        spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &format)};
    const int status = pw_stream_connect(stream_, PW_DIRECTION_OUTPUT, PW_ID_ANY,
                                         static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT |
                                                                      PW_STREAM_FLAG_MAP_BUFFERS |
                                                                      PW_STREAM_FLAG_RT_PROCESS),
                                         parameters, 1);
    if (status < 0)
        return "the sound server refused: " + describe(-status);
    return std::nullopt;
}

void PipeWireStream::setActive(bool active) {
    if (stream_ != nullptr)
        pw_stream_set_active(stream_, active);
}

void PipeWireStream::close() {
    if (stream_ != nullptr) {
        pw_stream_destroy(stream_); // its listener with it, once the audio thread has left it
        stream_ = nullptr;
    }
    if (core_ != nullptr) {
        pw_core_disconnect(core_);
        core_ = nullptr;
    }
    streamHook_ = {};
    coreHook_ = {};
    position_ = nullptr;
}

PipeWireStream::Flow PipeWireStream::flow() const {
    if (stream_ == nullptr)
        return Flow::closed;
    if (failed_)
        return Flow::failed;
    return pw_stream_get_state(stream_, nullptr) == PW_STREAM_STATE_STREAMING ? Flow::streaming
                                                                              : Flow::awaited;
}

std::optional<std::uint32_t> PipeWireStream::clock() const {
    if (position_ == nullptr)
        return std::nullopt;
    return position_->clock.id;
}

std::uint32_t PipeWireStream::delayFrames() const {
    pw_time time{};
    if (stream_ == nullptr || pw_stream_get_time_n(stream_, &time, sizeof time) < 0 ||
        time.rate.denom == 0)
        return 0;
    const double seconds =
        static_cast<double>(time.delay) * time.rate.num / static_cast<double>(time.rate.denom);
    return static_cast<std::uint32_t>(std::clamp(seconds, 0.0, 10.0) * rate) +
           static_cast<std::uint32_t>(time.buffered);
}

const pw_core_events& PipeWireStream::coreEvents() {
    static const pw_core_events events = [] {
        pw_core_events result{};
        result.version = PW_VERSION_CORE_EVENTS;
        result.info = [](void* self, const pw_core_info*) {
            static_cast<PipeWireStream*>(self)->answered_ = true;
        };
        result.error = [](void* self, std::uint32_t id, int, int error, const char* message) {
            auto& stream = *static_cast<PipeWireStream*>(self);
            if (id != PW_ID_CORE || stream.failed_)
                return;
            stream.failed_ = true;
            stream.error_ = error == -EPIPE ? "the sound server has gone away" : message;
        };
        return result;
    }();
    return events;
}

const pw_stream_events& PipeWireStream::streamEvents() {
    static const pw_stream_events events = [] {
        pw_stream_events result{};
        result.version = PW_VERSION_STREAM_EVENTS;
        result.state_changed = [](void* self, pw_stream_state, pw_stream_state state,
                                  const char* error) {
            auto& stream = *static_cast<PipeWireStream*>(self);
            if ((state != PW_STREAM_STATE_ERROR && state != PW_STREAM_STATE_UNCONNECTED) ||
                stream.failed_)
                return;
            stream.failed_ = true;
            stream.error_ = state == PW_STREAM_STATE_ERROR && error != nullptr
                                ? error
                                : "the sound server has gone away";
        };
        result.io_changed = [](void* self, std::uint32_t id, void* area, std::uint32_t size) {
            if (id == SPA_IO_Position)
                static_cast<PipeWireStream*>(self)->position_ =
                    size >= sizeof(spa_io_position) ? static_cast<const spa_io_position*>(area)
                                                    : nullptr;
        };
        result.process = [](void* self) { static_cast<PipeWireStream*>(self)->process(); };
        return result;
    }();
    return events;
}

void PipeWireStream::process() {
    pw_buffer* const buffer = pw_stream_dequeue_buffer(stream_);
    if (buffer == nullptr)
        return;
    spa_data& data = buffer->buffer->datas[0];
    if (data.data != nullptr) {
        std::uint32_t frames = data.maxsize / frameBytes;
        if (buffer->requested != 0)
            frames = static_cast<std::uint32_t>(std::min<std::uint64_t>(buffer->requested, frames));
        listener_.render(static_cast<float*>(data.data), frames);
        data.chunk->offset = 0;
        data.chunk->stride = frameBytes;
        data.chunk->size = frames * frameBytes;
    }
    pw_stream_queue_buffer(stream_, buffer);
}

} // namespace morvel
