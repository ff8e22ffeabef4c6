// What the command line can ask of the program.
#pragma once

#include <cstdint>
#include <optional>

namespace morvel {

// The numbers travel between processes, which may be of different versions: they stay what they
// are.
enum class InstanceRequest : std::uint8_t {
    openDrawer = 'd',
    openSettings = 's',
    toggleMute = 'm',
    quit = 'q',
};

inline std::optional<InstanceRequest> instanceRequest(std::uint8_t number) {
    switch (const auto request = static_cast<InstanceRequest>(number)) {
    case InstanceRequest::openDrawer:
    case InstanceRequest::openSettings:
    case InstanceRequest::toggleMute:
    case InstanceRequest::quit:
        return request;
    }
    return std::nullopt;
}

} // namespace morvel
