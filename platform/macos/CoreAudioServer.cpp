#include "platform/macos/CoreAudioServer.h"

#include "platform/output/CubebStream.h"

namespace morvel {

namespace {

std::optional<CubebLibrary> linkedLibrary() {
    return CubebLibrary{cubeb_init,          cubeb_destroy,      cubeb_get_backend_id,
                        cubeb_stream_init,   cubeb_stream_start, cubeb_stream_stop,
                        cubeb_stream_destroy};
}

constexpr CubebSetup setup{"audiounit", linkedLibrary};

// It is part of the system, which has no other.
std::filesystem::path noSocket(const Environment&) {
    return {};
}

std::unique_ptr<ServerStream> makeStream(ServerStream::Listener& listener) {
    return makeCubebStream(listener, setup);
}

} // namespace

const OutputServer coreAudioServer{"Core Audio", noSocket, makeStream};

} // namespace morvel
