#include "bench/SoundStreams.h"

#include <pulse/pulseaudio.h>

#include <cstdint>
#include <stdexcept>

namespace morvel::bench {

struct SoundStreams::State {
    pa_mainloop* loop = pa_mainloop_new();
    pa_context* context = pa_context_new(pa_mainloop_get_api(loop), "Morvel benchmark");
    std::string awaited; // process id
    bool running = false;

    ~State() {
        pa_context_disconnect(context);
        pa_context_unref(context);
        pa_mainloop_free(loop);
    }

    bool iterate(std::chrono::microseconds longest) {
        return pa_mainloop_prepare(loop, static_cast<int>(longest.count())) >= 0 &&
               pa_mainloop_poll(loop) >= 0 && pa_mainloop_dispatch(loop) >= 0;
    }

    void look() {
        pa_operation* const asked = pa_context_get_sink_input_info_list(
            context,
            [](pa_context*, const pa_sink_input_info* stream, int, void* state) {
                if (stream != nullptr)
                    static_cast<State*>(state)->note(*stream);
            },
            this);
        if (asked != nullptr)
            pa_operation_unref(asked);
    }

    // A stream is corked until its program starts it.
    void note(const pa_sink_input_info& stream) {
        const char* const id = pa_proplist_gets(stream.proplist, PA_PROP_APPLICATION_PROCESS_ID);
        running = running || (stream.corked == 0 && id != nullptr && awaited == id);
    }
};

SoundStreams::SoundStreams(const std::string& server)
    : state_(std::make_unique<State>()) {
    State& state = *state_;
    pa_context_connect(state.context, server.c_str(), PA_CONTEXT_NOAUTOSPAWN, nullptr);
    while (pa_context_get_state(state.context) != PA_CONTEXT_READY)
        if (!PA_CONTEXT_IS_GOOD(pa_context_get_state(state.context)) ||
            !state.iterate(std::chrono::seconds(1)))
            throw std::runtime_error("cannot connect to the sound server");
    pa_context_set_subscribe_callback(
        state.context,
        [](pa_context*, pa_subscription_event_type_t, std::uint32_t, void* watching) {
            static_cast<State*>(watching)->look();
        },
        &state);
    if (pa_operation* const asked =
            pa_context_subscribe(state.context, PA_SUBSCRIPTION_MASK_SINK_INPUT, nullptr, nullptr))
        pa_operation_unref(asked); // the server answers in order: no event is missed from now on
}

SoundStreams::~SoundStreams() = default;

bool SoundStreams::awaitRunning(pid_t process, std::chrono::milliseconds limit) {
    State& state = *state_;
    state.awaited = std::to_string(process);
    state.running = false;
    state.look();
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!state.running) {
        const auto left = std::chrono::duration_cast<std::chrono::microseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || !state.iterate(left))
            break;
    }
    return state.running;
}

} // namespace morvel::bench
