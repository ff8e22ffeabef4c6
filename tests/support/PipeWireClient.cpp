#include "tests/support/PipeWireClient.h"

#include <fmt/format.h>
#include <pipewire/extensions/metadata.h>
#include <pipewire/pipewire.h>

#include <functional>
#include <map>
#include <string_view>
#include <vector>

namespace morvel::test {

struct PipeWireClient::State {
    pw_main_loop* loop = nullptr;
    pw_context* context = nullptr;
    pw_core* core = nullptr;
    pw_registry* registry = nullptr;
    pw_metadata* defaults = nullptr;
    pw_metadata* settings = nullptr;
    spa_hook coreHook{};
    spa_hook registryHook{};
    spa_hook metadataHook{};
    pw_core_events coreEvents{};
    pw_registry_events registryEvents{};
    pw_metadata_events metadataEvents{};
    std::vector<pw_proxy*> added;
    std::string defaultSink;                                 // as the server writes it
    std::map<std::string, std::uint32_t, std::less<>> nodes; // by name
    int answered = -1;
    bool lost = false;

    ~State() {
        for (pw_proxy* const sink : added)
            pw_proxy_destroy(sink);
        for (pw_metadata* const metadata : {defaults, settings})
            if (metadata != nullptr)
                pw_proxy_destroy(reinterpret_cast<pw_proxy*>(metadata));
        if (registry != nullptr)
            pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry));
        if (core != nullptr)
            pw_core_disconnect(core);
        if (context != nullptr)
            pw_context_destroy(context);
        if (loop != nullptr)
            pw_main_loop_destroy(loop);
    }

    bool iterateUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        pw_loop* const turning = pw_main_loop_get_loop(loop);
        pw_loop_enter(turning);
        while (!done() && !lost && std::chrono::steady_clock::now() < deadline)
            pw_loop_iterate(turning, 50);
        pw_loop_leave(turning);
        return done();
    }
    // Waits until the server has done all that it was told.
    bool settle() {
        const int asked = pw_core_sync(core, PW_ID_CORE, 0);
        return iterateUntil([&] { return answered == asked; }, std::chrono::seconds(10));
    }

    void found(std::uint32_t id, std::string_view type, const spa_dict* properties) {
        if (properties == nullptr)
            return;
        if (const char* const node = spa_dict_lookup(properties, PW_KEY_NODE_NAME))
            nodes[node] = id;
        if (type != PW_TYPE_INTERFACE_Metadata)
            return;
        const char* const name = spa_dict_lookup(properties, PW_KEY_METADATA_NAME);
        const auto bind = [&] {
            return static_cast<pw_metadata*>(
                pw_registry_bind(registry, id, PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA, 0));
        };
        if (name != nullptr && std::string_view(name) == "settings") {
            settings = bind();
        } else if (name != nullptr && std::string_view(name) == "default") {
            defaults = bind();
            pw_proxy_add_object_listener(reinterpret_cast<pw_proxy*>(defaults), &metadataHook,
                                         &metadataEvents, this);
        }
    }
};

PipeWireClient::PipeWireClient()
    : state_(std::make_unique<State>()) {}

PipeWireClient::~PipeWireClient() = default;

std::unique_ptr<PipeWireClient> PipeWireClient::connect(const std::string& address) {
    pw_init(nullptr, nullptr);
    std::unique_ptr<PipeWireClient> client(new PipeWireClient);
    State& state = *client->state_;
    state.loop = pw_main_loop_new(nullptr);
    state.context = pw_context_new(pw_main_loop_get_loop(state.loop), nullptr, 0);
    state.core = pw_context_connect(
        state.context, pw_properties_new(PW_KEY_REMOTE_NAME, address.c_str(), nullptr), 0);
    if (state.core == nullptr)
        return nullptr;
    state.coreEvents.version = PW_VERSION_CORE_EVENTS;
    state.coreEvents.done = [](void* self, std::uint32_t, int sequence) {
        static_cast<State*>(self)->answered = sequence;
    };
    state.coreEvents.error = [](void* self, std::uint32_t id, int, int, const char*) {
        static_cast<State*>(self)->lost |= id == PW_ID_CORE;
    };
    state.registryEvents.version = PW_VERSION_REGISTRY_EVENTS;
    state.registryEvents.global = [](void* self, std::uint32_t id, std::uint32_t, const char* type,
                                     std::uint32_t, const spa_dict* properties) {
        static_cast<State*>(self)->found(id, type, properties);
    };
    state.metadataEvents.version = PW_VERSION_METADATA_EVENTS;
    state.metadataEvents.property = [](void* self, std::uint32_t, const char* key, const char*,
                                       const char* value) {
        if (key != nullptr && std::string_view(key) == "default.audio.sink")
            static_cast<State*>(self)->defaultSink = value == nullptr ? "" : value;
        return 0;
    };
    pw_proxy_add_object_listener(reinterpret_cast<pw_proxy*>(state.core), &state.coreHook,
                                 &state.coreEvents, &state);
    state.registry = pw_core_get_registry(state.core, PW_VERSION_REGISTRY, 0);
    pw_proxy_add_object_listener(reinterpret_cast<pw_proxy*>(state.registry), &state.registryHook,
                                 &state.registryEvents, &state);
    if (!state.settle())
        return nullptr;
    return client;
}

bool PipeWireClient::awaitManager(std::chrono::milliseconds limit) {
    return state_->iterateUntil([&] { return state_->defaults != nullptr; }, limit);
}

bool PipeWireClient::awaitDefaultSink(const std::string& name, std::chrono::milliseconds limit) {
    return state_->iterateUntil(
        [&] { return state_->defaultSink.find('"' + name + '"') != std::string::npos; }, limit);
}

void PipeWireClient::setDefaultSink(const std::string& name) {
    state_->settle();
    pw_metadata_set_property(state_->defaults, 0, "default.configured.audio.sink",
                             "Spa:String:JSON", fmt::format(R"({{ "name": "{}" }})", name).c_str());
    state_->settle();
}

void PipeWireClient::addSink(const std::string& name) {
    pw_properties* const properties =
        pw_properties_new("factory.name", "support.null-audio-sink", PW_KEY_NODE_NAME, name.c_str(),
                          PW_KEY_MEDIA_CLASS, "Audio/Sink", "audio.position", "[ FL FR ]", nullptr);
    state_->added.push_back(static_cast<pw_proxy*>(pw_core_create_object(
        state_->core, "adapter", PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, &properties->dict, 0)));
    state_->settle();
    pw_properties_free(properties);
}

bool PipeWireClient::awaitSuspended(const std::string& sink, std::chrono::milliseconds limit) {
    state_->settle();
    auto* const node = static_cast<pw_node*>(pw_registry_bind(
        state_->registry, state_->nodes.at(sink), PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, 0));
    bool suspended = false;
    pw_node_events events{};
    events.version = PW_VERSION_NODE_EVENTS;
    events.info = [](void* result, const pw_node_info* info) {
        *static_cast<bool*>(result) = info->state == PW_NODE_STATE_SUSPENDED;
    };
    spa_hook hook{};
    pw_proxy_add_object_listener(reinterpret_cast<pw_proxy*>(node), &hook, &events, &suspended);
    const bool done = state_->iterateUntil([&] { return suspended; }, limit);
    pw_proxy_destroy(reinterpret_cast<pw_proxy*>(node));
    return done;
}

void PipeWireClient::removeSink(const std::string& name) {
    state_->settle();
    pw_registry_destroy(state_->registry, state_->nodes.at(name));
    state_->settle();
}

void PipeWireClient::forcePeriod(int frames) {
    state_->settle();
    pw_metadata_set_property(state_->settings, 0, "clock.force-quantum", "",
                             std::to_string(frames).c_str());
    state_->settle();
}

} // namespace morvel::test
