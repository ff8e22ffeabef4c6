// A sound server by libcubeb, every call into which may wait for the server. The library moves the
// stream when the default device changes. The stream is closed while it rests.
#pragma once

#include "platform/output/ServerStream.h"

#include <cubeb/cubeb.h>
#include <pthread.h>

#include <memory>
#include <optional>

namespace morvel {

// What is used of the library, wherever it comes from.
struct CubebLibrary {
    decltype(&cubeb_init) init = nullptr;
    decltype(&cubeb_destroy) destroy = nullptr;
    decltype(&cubeb_get_backend_id) backendId = nullptr;
    decltype(&cubeb_stream_init) streamInit = nullptr;
    decltype(&cubeb_stream_start) streamStart = nullptr;
    decltype(&cubeb_stream_stop) streamStop = nullptr;
    decltype(&cubeb_stream_destroy) streamDestroy = nullptr;
};

struct CubebSetup {
    const char* backend; // as the library calls the server
    // The library, before the first connection; nothing where it is missing.
    std::optional<CubebLibrary> (*load)();
    // Gives an audio thread precedence; null where the library does so itself.
    void (*hasten)(pthread_t thread) = nullptr;
};

// The setup lives for ever.
std::unique_ptr<ServerStream> makeCubebStream(ServerStream::Listener& listener,
                                              const CubebSetup& setup);

} // namespace morvel
