// The system's registry of what starts at login. Adapters: platform/linux (XDG autostart),
// platform/macos (service management),
// platform/simulated.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace morvel {

// The numbers are the service's own and appear in logs.
enum class LoginItemStatus : std::uint8_t {
    notRegistered = 0,
    enabled = 1,
    requiresApproval = 2,
    notFound = 3,
};

class LoginItemService {
public:
    virtual ~LoginItemService() = default;

    virtual LoginItemStatus status() const = 0;

    // Both answer nothing on success, else the error's printable description. Main thread.
    virtual std::optional<std::string> registerItem() = 0;
    virtual std::optional<std::string> unregisterItem() = 0;
};

} // namespace morvel
