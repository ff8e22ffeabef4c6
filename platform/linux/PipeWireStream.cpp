#include "platform/linux/PipeWireStream.h"

#include "platform/Environment.h"
#include "platform/linux/PipeWireLibrary.h"
#include "platform/linux/SocketWatch.h"

#include <fmt/format.h>
#include <pipewire/pipewire.h>
#include <spa/param/audio/format-utils.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace morvel {

namespace {

constexpr std::uint32_t rate = 44100;
constexpr std::uint32_t channels = 2;
constexpr std::uint32_t frameBytes = channels * sizeof(float);

std::string describe(int error) {
    return std::generic_category().message(error);
}

// Where the environment tells to look; empty where it tells nothing.
std::filesystem::path socketOf(const Environment& environment) {
    const std::string name = environment("PIPEWIRE_REMOTE").value_or("pipewire-0");
    for (const char* const variable : {"PIPEWIRE_RUNTIME_DIR", "XDG_RUNTIME_DIR"})
        if (const auto folder = environment(variable))
            return std::filesystem::path(*folder) / name; // the name alone where that is a path
    return {};
}

// The library looks for the machine's own server where the user has none.
bool hasSocket(const Environment& environment) {
    const std::filesystem::path socket = socketOf(environment);
    std::error_code unknown;
    return socket.empty() || std::filesystem::exists(socket, unknown) ||
           std::filesystem::exists("/run/pipewire" / socket.filename(), unknown);
}

class PipeWireStream : public ServerStream {
public:
    explicit PipeWireStream(Listener& listener)
        : listener_(listener) {}
    ~PipeWireStream() override;
    PipeWireStream(const PipeWireStream&) = delete;
    PipeWireStream& operator=(const PipeWireStream&) = delete;

    std::optional<std::string> open(const Request& request) override;
    void rest() override { library_->streamSetActive(stream_, false); }
    void resume() override { library_->streamSetActive(stream_, true); }
    void close() override;
    Flow flow() const override;
    std::string error() const override;
    std::optional<std::uint32_t> device() const override;
    // The way to the device and through the server's converters besides the period.
    std::uint32_t latencyFrames(std::uint32_t period) const override;
    int descriptor() const override { return loop_ == nullptr ? -1 : pw_loop_get_fd(loop_); }
    void serve() override;

private:
    static const pw_core_events& coreEvents();
    static const pw_registry_events& registryEvents();
    static const pw_stream_events& streamEvents();
    bool start();
    pw_properties*
    properties(std::initializer_list<std::pair<const char*, std::string>> values) const;
    std::optional<std::string> connect();
    void linked(std::uint32_t id, std::string_view type, const spa_dict* properties);
    void unlinked(std::uint32_t id);
    void process();

    struct Link {
        std::uint32_t id;
        std::uint32_t node; // that it leads to
    };

    Listener& listener_;
    const PipeWireLibrary* library_ = nullptr; // there before all that follows
    pw_loop* loop_ = nullptr;
    pw_context* context_ = nullptr;
    pw_core* core_ = nullptr;
    pw_registry* registry_ = nullptr;
    pw_stream* stream_ = nullptr;
    spa_hook coreHook_{};
    spa_hook registryHook_{};
    spa_hook streamHook_{};
    std::vector<Link> links_; // of the stream, the oldest first
    bool answered_ = false;   // since the stream was opened
    bool failed_ = false;
    std::string error_;
};

PipeWireStream::~PipeWireStream() {
    PipeWireStream::close();
    if (context_ != nullptr)
        library_->contextDestroy(context_);
    if (loop_ == nullptr)
        return;
    pw_loop_leave(loop_);
    library_->loopDestroy(loop_);
}

bool PipeWireStream::start() {
    if (loop_ != nullptr)
        return true;
    library_ = PipeWireLibrary::get();
    loop_ = library_ == nullptr ? nullptr : library_->loopNew(nullptr);
    if (loop_ == nullptr)
        return false;
    pw_loop_enter(loop_);
    return true;
}

// To be freed by the context or stream that takes them.
pw_properties* PipeWireStream::properties(
    std::initializer_list<std::pair<const char*, std::string>> values) const {
    pw_properties* const result = library_->propertiesNew(nullptr, nullptr);
    for (const auto& [key, value] : values)
        library_->propertiesSet(result, key, value.c_str());
    return result;
}

void PipeWireStream::serve() {
    if (loop_ != nullptr)
        pw_loop_iterate(loop_, 0);
}

std::optional<std::string> PipeWireStream::open(const Request& request) {
    answered_ = false;
    failed_ = false;
    error_.clear();
    if (!hasSocket(systemEnvironment()))
        return "no sound server";
    if (!start())
        return "PipeWire's library does not start";
    if (context_ == nullptr) {
        // This configuration is the one whose audio thread goes before ordinary ones.
        context_ =
            library_->contextNew(loop_, properties({{PW_KEY_CONFIG_NAME, "client-rt.conf"}}), 0);
        if (context_ == nullptr)
            return "PipeWire's library does not start: " + describe(errno);
    }
    core_ = library_->contextConnect(context_,
                                     properties({{PW_KEY_APP_NAME, request.applicationName}}), 0);
    if (core_ == nullptr) {
        // Where there is no server its library must not take the memory it would.
        library_->contextDestroy(std::exchange(context_, nullptr));
        return "no sound server";
    }
    library_->proxyAddObjectListener(reinterpret_cast<pw_proxy*>(core_), &coreHook_, &coreEvents(),
                                     this);
    registry_ = pw_core_get_registry(core_, PW_VERSION_REGISTRY, 0);
    if (registry_ != nullptr)
        library_->proxyAddObjectListener(reinterpret_cast<pw_proxy*>(registry_), &registryHook_,
                                         &registryEvents(), this);
    stream_ = library_->streamNew(
        core_, request.streamName.c_str(),
        properties({{PW_KEY_MEDIA_TYPE, "Audio"},
                    {PW_KEY_MEDIA_CATEGORY, "Playback"},
                    {PW_KEY_MEDIA_ROLE, "Game"}, // the role of quick answers
                    {PW_KEY_APP_NAME, request.applicationName},
                    {PW_KEY_NODE_NAME, request.applicationName},
                    {PW_KEY_NODE_RATE, fmt::format("1/{}", rate)},
                    {PW_KEY_NODE_LATENCY, fmt::format("{}/{}", request.latencyFrames, rate)}}));
    auto refused = stream_ == nullptr ? describe(errno) : connect();
    if (refused)
        close();
    return refused;
}

std::optional<std::string> PipeWireStream::connect() {
    library_->streamAddListener(stream_, &streamHook_, &streamEvents(), this);
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
    const int status = library_->streamConnect(
        stream_, PW_DIRECTION_OUTPUT, PW_ID_ANY,
        static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS |
                                     PW_STREAM_FLAG_RT_PROCESS),
        parameters, 1);
    if (status < 0)
        return "the sound server refused: " + describe(-status);
    return std::nullopt;
}

void PipeWireStream::close() {
    if (stream_ != nullptr) {
        library_->streamDestroy(stream_); // its listener with it, once the audio thread has left it
        stream_ = nullptr;
    }
    if (registry_ != nullptr) {
        library_->proxyDestroy(reinterpret_cast<pw_proxy*>(registry_));
        registry_ = nullptr;
    }
    if (core_ != nullptr) {
        library_->coreDisconnect(core_);
        core_ = nullptr;
    }
    streamHook_ = {};
    registryHook_ = {};
    coreHook_ = {};
    links_.clear();
}

ServerStream::Flow PipeWireStream::flow() const {
    if (stream_ == nullptr)
        return Flow::closed;
    if (failed_)
        return Flow::failed;
    return library_->streamGetState(stream_, nullptr) == PW_STREAM_STATE_STREAMING ? Flow::streaming
                                                                                   : Flow::awaited;
}

std::string PipeWireStream::error() const {
    if (failed_)
        return error_;
    return answered_ ? "there is no device" : "the sound server does not answer";
}

// Somebody who records the stream links it as well, but later.
std::optional<std::uint32_t> PipeWireStream::device() const {
    if (links_.empty())
        return std::nullopt;
    return links_.front().node;
}

void PipeWireStream::linked(std::uint32_t id, std::string_view type, const spa_dict* properties) {
    if (type != PW_TYPE_INTERFACE_Link || properties == nullptr || stream_ == nullptr)
        return;
    const auto node = [properties](const char* end) {
        const char* const text = spa_dict_lookup(properties, end);
        return text == nullptr ? SPA_ID_INVALID
                               : static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10));
    };
    const std::uint32_t from = node(PW_KEY_LINK_OUTPUT_NODE);
    if (from != SPA_ID_INVALID && from == library_->streamGetNodeId(stream_))
        links_.push_back({id, node(PW_KEY_LINK_INPUT_NODE)});
}

void PipeWireStream::unlinked(std::uint32_t id) {
    std::erase_if(links_, [id](const Link& link) { return link.id == id; });
}

std::uint32_t PipeWireStream::latencyFrames(std::uint32_t period) const {
    pw_time time{};
    if (stream_ == nullptr || library_->streamGetTime(stream_, &time, sizeof time) < 0 ||
        time.rate.denom == 0)
        return period;
    const double seconds =
        static_cast<double>(time.delay) * time.rate.num / static_cast<double>(time.rate.denom);
    return period + static_cast<std::uint32_t>(std::clamp(seconds, 0.0, 10.0) * rate) +
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

const pw_registry_events& PipeWireStream::registryEvents() {
    static const pw_registry_events events = [] {
        pw_registry_events result{};
        result.version = PW_VERSION_REGISTRY_EVENTS;
        result.global = [](void* self, std::uint32_t id, std::uint32_t, const char* type,
                           std::uint32_t, const spa_dict* properties) {
            static_cast<PipeWireStream*>(self)->linked(id, type, properties);
        };
        result.global_remove = [](void* self, std::uint32_t id) {
            static_cast<PipeWireStream*>(self)->unlinked(id);
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
        result.process = [](void* self) { static_cast<PipeWireStream*>(self)->process(); };
        return result;
    }();
    return events;
}

void PipeWireStream::process() {
    pw_buffer* const buffer = library_->streamDequeueBuffer(stream_);
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
    library_->streamQueueBuffer(stream_, buffer);
}

std::unique_ptr<ServerStream> makePipeWireStream(ServerStream::Listener& listener) {
    return std::make_unique<PipeWireStream>(listener);
}

} // namespace

const OutputServer pipeWireServer{"PipeWire", socketOf, makePipeWireStream, watchSocket};

} // namespace morvel
