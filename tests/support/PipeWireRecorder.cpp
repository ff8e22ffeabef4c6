#include "tests/support/PipeWireRecorder.h"

#include <pipewire/pipewire.h>
#include <spa/param/audio/format-utils.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <stdexcept>

namespace morvel::test {

namespace {

constexpr std::uint32_t sampleRate = 44100;
constexpr std::uint32_t frameBytes = 2 * sizeof(float);

std::uint64_t now() {
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                          std::chrono::steady_clock::now().time_since_epoch())
                                          .count());
}

} // namespace

struct PipeWireRecorder::State {
    pw_thread_loop* loop = nullptr;
    pw_context* context = nullptr;
    pw_core* core = nullptr;
    pw_stream* stream = nullptr;
    spa_hook hook{};
    pw_stream_events events{};
    mutable std::mutex mutex;
    mutable std::condition_variable more;
    audition::MonitorRecording recording;
    float loudest = 0;
    bool lost = false;

    ~State() {
        if (loop == nullptr)
            return;
        pw_thread_loop_stop(loop);
        if (stream != nullptr)
            pw_stream_destroy(stream);
        if (core != nullptr)
            pw_core_disconnect(core);
        if (context != nullptr)
            pw_context_destroy(context);
        pw_thread_loop_destroy(loop);
    }

    void read() {
        pw_buffer* const buffer = pw_stream_dequeue_buffer(stream);
        if (buffer == nullptr)
            return;
        const std::uint64_t time = now();
        const spa_data& data = buffer->buffer->datas[0];
        if (data.data != nullptr) {
            const auto* const samples = reinterpret_cast<const float*>(
                static_cast<const std::byte*>(data.data) + data.chunk->offset);
            const std::size_t count = data.chunk->size / frameBytes * 2;
            const std::lock_guard lock(mutex);
            recording.interleaved.insert(recording.interleaved.end(), samples, samples + count);
            for (std::size_t i = 0; i < count; ++i)
                loudest = std::max(loudest, std::abs(samples[i]));
            recording.arrivals.push_back({recording.frameLength(), time});
            more.notify_all();
        }
        pw_stream_queue_buffer(stream, buffer);
    }

    void end() {
        const std::lock_guard lock(mutex);
        lost = true;
        more.notify_all();
    }

    bool connect(const std::string& sink, const std::string& address, bool letsSinkSleep) {
        context =
            pw_context_new(pw_thread_loop_get_loop(loop),
                           pw_properties_new(PW_KEY_CONFIG_NAME, "client-rt.conf", nullptr), 0);
        core = pw_context_connect(
            context, pw_properties_new(PW_KEY_REMOTE_NAME, address.c_str(), nullptr), 0);
        if (core == nullptr)
            return false;
        stream = pw_stream_new(
            core, "monitor",
            pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Capture",
                              PW_KEY_STREAM_CAPTURE_SINK, "true", PW_KEY_TARGET_OBJECT,
                              sink.c_str(), PW_KEY_NODE_LATENCY, "128/44100",
                              PW_KEY_NODE_DONT_RECONNECT, "true", PW_KEY_NODE_PASSIVE,
                              letsSinkSleep ? "true" : "false", nullptr));
        events.version = PW_VERSION_STREAM_EVENTS;
        events.process = [](void* self) { static_cast<State*>(self)->read(); };
        events.state_changed = [](void* self, pw_stream_state, pw_stream_state state, const char*) {
            if (state == PW_STREAM_STATE_ERROR || state == PW_STREAM_STATE_UNCONNECTED)
                static_cast<State*>(self)->end();
        };
        pw_stream_add_listener(stream, &hook, &events, this);
        std::array<std::uint8_t, 1024> memory{};
        spa_pod_builder builder{};
        spa_pod_builder_init(&builder, memory.data(), static_cast<std::uint32_t>(memory.size()));
        spa_audio_info_raw format{};
        format.format = SPA_AUDIO_FORMAT_F32;
        format.rate = sampleRate;
        format.channels = 2;
        format.position[0] = SPA_AUDIO_CHANNEL_FL;
        format.position[1] = SPA_AUDIO_CHANNEL_FR;
        const spa_pod* parameters[] = {
            spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &format)};
        return pw_stream_connect(stream, PW_DIRECTION_INPUT, PW_ID_ANY,
                                 static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT |
                                                              PW_STREAM_FLAG_MAP_BUFFERS |
                                                              PW_STREAM_FLAG_RT_PROCESS),
                                 parameters, 1) >= 0;
    }
};

PipeWireRecorder::PipeWireRecorder(const std::string& sink, const std::string& address,
                                   bool letsSinkSleep)
    : state_(std::make_unique<State>()) {
    State& s = *state_;
    s.recording.interleaved.reserve(std::size_t{2} * sampleRate * 120);
    s.recording.arrivals.reserve(std::size_t{1} << 18);
    pw_init(nullptr, nullptr);
    s.loop = pw_thread_loop_new("recorder", nullptr);
    pw_thread_loop_start(s.loop);
    pw_thread_loop_lock(s.loop);
    const bool connected = s.connect(sink, address, letsSinkSleep);
    pw_thread_loop_unlock(s.loop);
    if (connected && !letsSinkSleep)
        await(1);
    if (!connected || (frameLength() == 0 && !letsSinkSleep))
        throw std::runtime_error("cannot record " + sink);
}

PipeWireRecorder::~PipeWireRecorder() = default;

std::size_t PipeWireRecorder::frameLength() const {
    const std::lock_guard lock(state_->mutex);
    return state_->recording.frameLength();
}

float PipeWireRecorder::loudest() const {
    const std::lock_guard lock(state_->mutex);
    return state_->loudest;
}

void PipeWireRecorder::await(std::size_t frames) const {
    std::unique_lock lock(state_->mutex);
    state_->more.wait_for(lock, std::chrono::seconds(10), [&] {
        return state_->lost || state_->recording.frameLength() >= frames;
    });
}

bool PipeWireRecorder::awaitSound(float level, std::chrono::milliseconds limit) const {
    std::unique_lock lock(state_->mutex);
    state_->more.wait_for(lock, limit, [&] { return state_->lost || state_->loudest > level; });
    return state_->loudest > level;
}

audition::MonitorRecording PipeWireRecorder::finish() {
    pw_thread_loop_lock(state_->loop);
    pw_stream_set_active(state_->stream, false);
    pw_thread_loop_unlock(state_->loop);
    const std::lock_guard lock(state_->mutex);
    return std::move(state_->recording);
}

} // namespace morvel::test
