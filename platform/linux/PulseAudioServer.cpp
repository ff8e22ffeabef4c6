#include "platform/linux/PulseAudioServer.h"

#include "platform/linux/RealtimeThread.h"
#include "platform/linux/SocketWatch.h"
#include "platform/output/CubebStream.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <type_traits>

namespace morvel {

namespace {

// Loaded for the first connection: what the library links takes more than a megabyte of memory,
// which nobody shall pay for whose PipeWire plays.
std::optional<CubebLibrary> loadLibrary() {
    void* const file = dlopen("libcubeb.so.0", RTLD_NOW | RTLD_LOCAL); // never unloaded
    const auto find = [file](const char* name, auto& function) {
        if (file != nullptr)
            function =
                reinterpret_cast<std::remove_reference_t<decltype(function)>>(dlsym(file, name));
        return function != nullptr;
    };
    CubebLibrary library;
    const bool whole = find("cubeb_init", library.init) && find("cubeb_destroy", library.destroy) &&
                       find("cubeb_get_backend_id", library.backendId) &&
                       find("cubeb_stream_init", library.streamInit) &&
                       find("cubeb_stream_start", library.streamStart) &&
                       find("cubeb_stream_stop", library.streamStop) &&
                       find("cubeb_stream_destroy", library.streamDestroy);
    return whole ? std::optional(library) : std::nullopt;
}

// The first of a list of servers, if it listens on this machine. Before the address may stand, in
// braces, the one machine that it is meant for.
std::filesystem::path firstSocket(std::string_view servers) {
    constexpr std::string_view blanks = " \t\r\n";
    constexpr std::string_view scheme = "unix:";
    servers.remove_prefix(std::min(servers.find_first_not_of(blanks), servers.size()));
    std::string_view server = servers.substr(0, servers.find_first_of(blanks));
    if (server.starts_with('{')) {
        const std::size_t end = server.find('}');
        server = end == std::string_view::npos ? std::string_view() : server.substr(end + 1);
    }
    if (server.starts_with(scheme))
        server.remove_prefix(scheme.size());
    return server.starts_with('/') ? std::filesystem::path(server) : std::filesystem::path();
}

std::filesystem::path socketOf(const Environment& environment) {
    if (const auto server = environment("PULSE_SERVER"))
        return firstSocket(*server);
    if (const auto folder = environment("PULSE_RUNTIME_PATH"))
        return std::filesystem::path(*folder) / "native";
    if (const auto folder = environment("XDG_RUNTIME_DIR"))
        return std::filesystem::path(*folder) / "pulse" / "native";
    return {};
}

constexpr CubebSetup setup{"pulse", loadLibrary, [](pthread_t thread) { makeRealtime(thread); }};

std::unique_ptr<ServerStream> makeStream(ServerStream::Listener& listener) {
    return makeCubebStream(listener, setup);
}

} // namespace

const OutputServer pulseAudioServer{"PulseAudio", socketOf, makeStream, watchSocket};

} // namespace morvel
