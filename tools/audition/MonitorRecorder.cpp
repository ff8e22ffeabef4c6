#include "tools/audition/MonitorRecorder.h"

#include <pulse/pulseaudio.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace morvel::audition {

namespace {

constexpr std::uint32_t sampleRate = 44100;
constexpr std::size_t frameBytes = 2 * sizeof(float);
// A monitor that is read in small pieces makes the sink itself work in pieces as small, and drop
// out; what came how late within a piece is known without.
constexpr std::uint32_t fragmentFrames = 256;
constexpr double nanosPerFrame = 1e9 / sampleRate;

std::uint64_t now() {
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                          std::chrono::steady_clock::now().time_since_epoch())
                                          .count());
}

} // namespace

std::uint64_t MonitorRecording::hostNanos(std::size_t frame) const {
    const auto block = std::upper_bound(
        arrivals.begin(), arrivals.end(), frame,
        [](std::size_t wanted, const Arrival& arrival) { return wanted < arrival.endFrame; });
    if (block == arrivals.end())
        return 0;
    const auto ahead = static_cast<double>(block->endFrame - 1 - frame) * nanosPerFrame;
    return block->hostNanos - static_cast<std::uint64_t>(ahead);
}

void MonitorRecording::append(const MonitorRecording& later) {
    const std::size_t offset = frameLength();
    interleaved.insert(interleaved.end(), later.interleaved.begin(), later.interleaved.end());
    for (const Arrival& arrival : later.arrivals)
        arrivals.push_back({offset + arrival.endFrame, arrival.hostNanos});
}

namespace {

class Lock {
public:
    explicit Lock(pa_threaded_mainloop* loop)
        : loop_(loop) {
        pa_threaded_mainloop_lock(loop_);
    }
    ~Lock() { pa_threaded_mainloop_unlock(loop_); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

private:
    pa_threaded_mainloop* loop_;
};

} // namespace

struct MonitorRecorder::State {
    pa_threaded_mainloop* loop = nullptr;
    pa_context* context = nullptr;
    pa_stream* stream = nullptr;
    MonitorRecording recording;
    float loudest = 0;

    ~State() {
        if (loop != nullptr)
            pa_threaded_mainloop_stop(loop);
        if (stream != nullptr) {
            pa_stream_disconnect(stream);
            pa_stream_unref(stream);
        }
        if (context != nullptr) {
            pa_context_disconnect(context);
            pa_context_unref(context);
        }
        if (loop != nullptr)
            pa_threaded_mainloop_free(loop);
    }

    void read() {
        const void* data = nullptr;
        std::size_t bytes = 0;
        while (pa_stream_readable_size(stream) > 0 && pa_stream_peek(stream, &data, &bytes) == 0 &&
               bytes > 0) {
            auto& samples = recording.interleaved;
            const std::size_t old = samples.size();
            samples.resize(old + bytes / sizeof(float)); // a hole is silence
            if (data != nullptr)
                std::memcpy(&samples[old], data, bytes / sizeof(float) * sizeof(float));
            pa_stream_drop(stream);
            for (std::size_t i = old; i < samples.size(); ++i)
                loudest = std::max(loudest, std::abs(samples[i]));
            recording.arrivals.push_back({recording.frameLength(), now()});
        }
        pa_threaded_mainloop_signal(loop, 0);
    }
};

MonitorRecorder::MonitorRecorder(const std::string& source, const std::string& server,
                                 bool letsSinkSleep)
    : state_(std::make_unique<State>()) {
    State& s = *state_;
    s.recording.interleaved.reserve(std::size_t{2} * sampleRate * 120);
    s.recording.arrivals.reserve(std::size_t{1} << 18);
    s.loop = pa_threaded_mainloop_new();
    s.context = pa_context_new(pa_threaded_mainloop_get_api(s.loop), "Morvel audition");
    const auto signal = [](auto*, void* loop) {
        pa_threaded_mainloop_signal(static_cast<pa_threaded_mainloop*>(loop), 0);
    };
    pa_context_set_state_callback(s.context, signal, s.loop);
    const Lock lock(s.loop);
    if (pa_context_connect(s.context, server.empty() ? nullptr : server.c_str(),
                           PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0 ||
        pa_threaded_mainloop_start(s.loop) < 0)
        throw std::runtime_error("cannot connect to the sound server");
    while (pa_context_get_state(s.context) != PA_CONTEXT_READY) {
        if (!PA_CONTEXT_IS_GOOD(pa_context_get_state(s.context)))
            throw std::runtime_error("cannot connect to the sound server");
        pa_threaded_mainloop_wait(s.loop);
    }
    const pa_sample_spec format{PA_SAMPLE_FLOAT32NE, sampleRate, 2};
    s.stream = pa_stream_new(s.context, "monitor", &format, nullptr);
    pa_stream_set_state_callback(s.stream, signal, s.loop);
    pa_stream_set_read_callback(
        s.stream, [](pa_stream*, std::size_t, void* state) { static_cast<State*>(state)->read(); },
        &s);
    pa_buffer_attr attributes{};
    attributes.maxlength = static_cast<std::uint32_t>(-1);
    attributes.fragsize = fragmentFrames * frameBytes;
    // Where the default is switched the server would move the recording along with it.
    const auto flags = static_cast<pa_stream_flags_t>(
        PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE |
        (letsSinkSleep ? PA_STREAM_DONT_INHIBIT_AUTO_SUSPEND : PA_STREAM_NOFLAGS));
    if (pa_stream_connect_record(s.stream, source.c_str(), &attributes, flags) < 0)
        throw std::runtime_error("cannot record " + source);
    while (s.recording.arrivals.empty()) {
        if (!PA_STREAM_IS_GOOD(pa_stream_get_state(s.stream)))
            throw std::runtime_error("cannot record " + source);
        pa_threaded_mainloop_wait(s.loop);
    }
}

MonitorRecorder::~MonitorRecorder() = default;

std::size_t MonitorRecorder::frameLength() const {
    const Lock lock(state_->loop);
    return state_->recording.frameLength();
}

void MonitorRecorder::await(std::size_t frames) const {
    const Lock lock(state_->loop);
    while (state_->recording.frameLength() < frames &&
           PA_STREAM_IS_GOOD(pa_stream_get_state(state_->stream)))
        pa_threaded_mainloop_wait(state_->loop);
}

float MonitorRecorder::loudest() const {
    const Lock lock(state_->loop);
    return state_->loudest;
}

bool MonitorRecorder::awaitSound(float level, std::chrono::milliseconds limit) const {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    const Lock lock(state_->loop);
    while (state_->loudest <= level && std::chrono::steady_clock::now() < deadline &&
           PA_STREAM_IS_GOOD(pa_stream_get_state(state_->stream)))
        pa_threaded_mainloop_wait(state_->loop); // a monitor delivers silence too
    return state_->loudest > level;
}

MonitorRecording MonitorRecorder::finish() {
    const Lock lock(state_->loop);
    pa_stream_set_read_callback(state_->stream, nullptr, nullptr);
    return std::move(state_->recording);
}

} // namespace morvel::audition
