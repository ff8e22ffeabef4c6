#include "platform/linux/PipeWireLibrary.h"

#include <dlfcn.h>

#include <optional>
#include <type_traits>

namespace morvel {

const PipeWireLibrary* PipeWireLibrary::get() {
    static const std::optional<PipeWireLibrary> library = [] {
        std::optional<PipeWireLibrary> made(std::in_place);
        return made->load() ? made : std::nullopt;
    }();
    return library ? &*library : nullptr;
}

bool PipeWireLibrary::load() {
    void* const file = dlopen("libpipewire-0.3.so.0", RTLD_NOW | RTLD_LOCAL);
    if (file == nullptr)
        return false;
    const auto find = [file](const char* name, auto& symbol) {
        symbol = reinterpret_cast<std::remove_reference_t<decltype(symbol)>>(dlsym(file, name));
        return symbol != nullptr;
    };
    decltype(&pw_init) init = nullptr;
    decltype(&pw_log_level) logLevel = nullptr;
    decltype(&pw_log_set_level) setLogLevel = nullptr;
    const bool complete =
        find("pw_init", init) && find("pw_log_level", logLevel) &&
        find("pw_log_set_level", setLogLevel) && find("pw_properties_new", propertiesNew) &&
        find("pw_properties_set", propertiesSet) && find("pw_loop_new", loopNew) &&
        find("pw_loop_destroy", loopDestroy) && find("pw_context_new", contextNew) &&
        find("pw_context_destroy", contextDestroy) && find("pw_context_connect", contextConnect) &&
        find("pw_core_disconnect", coreDisconnect) &&
        find("pw_proxy_add_object_listener", proxyAddObjectListener) &&
        find("pw_proxy_destroy", proxyDestroy) && find("pw_stream_new", streamNew) &&
        find("pw_stream_destroy", streamDestroy) &&
        find("pw_stream_add_listener", streamAddListener) &&
        find("pw_stream_connect", streamConnect) && find("pw_stream_set_active", streamSetActive) &&
        find("pw_stream_get_state", streamGetState) &&
        find("pw_stream_get_node_id", streamGetNodeId) &&
        find("pw_stream_get_time_n", streamGetTime) &&
        find("pw_stream_dequeue_buffer", streamDequeueBuffer) &&
        find("pw_stream_queue_buffer", streamQueueBuffer);
    if (!complete)
        return false;
    init(nullptr, nullptr);
    // It complains with every attempt where only the library is installed. Whoever wants more
    // (PIPEWIRE_DEBUG) gets it.
    if (*logLevel <= SPA_LOG_LEVEL_WARN)
        setLogLevel(SPA_LOG_LEVEL_NONE);
    return true;
}

} // namespace morvel
