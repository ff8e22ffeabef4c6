// PipeWire's client library, loaded when a server is there: it takes more than a megabyte of
// memory, which nobody shall pay for whose PulseAudio plays.
#pragma once

#include <pipewire/pipewire.h>

namespace morvel {

// The functions as the library itself names them, without the prefix "pw".
struct PipeWireLibrary {
    // Loads and starts it with the first call; never unloaded. Nothing where it is not installed.
    // Any thread.
    static const PipeWireLibrary* get();

    decltype(&pw_properties_new) propertiesNew = nullptr;
    decltype(&pw_properties_set) propertiesSet = nullptr;
    decltype(&pw_loop_new) loopNew = nullptr;
    decltype(&pw_loop_destroy) loopDestroy = nullptr;
    decltype(&pw_context_new) contextNew = nullptr;
    decltype(&pw_context_destroy) contextDestroy = nullptr;
    decltype(&pw_context_connect) contextConnect = nullptr;
    decltype(&pw_core_disconnect) coreDisconnect = nullptr;
    decltype(&pw_proxy_add_object_listener) proxyAddObjectListener = nullptr;
    decltype(&pw_proxy_destroy) proxyDestroy = nullptr;
    decltype(&pw_stream_new) streamNew = nullptr;
    decltype(&pw_stream_destroy) streamDestroy = nullptr;
    decltype(&pw_stream_add_listener) streamAddListener = nullptr;
    decltype(&pw_stream_connect) streamConnect = nullptr;
    decltype(&pw_stream_set_active) streamSetActive = nullptr;
    decltype(&pw_stream_get_state) streamGetState = nullptr;
    decltype(&pw_stream_get_node_id) streamGetNodeId = nullptr;
    decltype(&pw_stream_get_time_n) streamGetTime = nullptr;
    decltype(&pw_stream_dequeue_buffer) streamDequeueBuffer = nullptr;
    decltype(&pw_stream_queue_buffer) streamQueueBuffer = nullptr;

private:
    bool load();
};

} // namespace morvel
