#include "platform/linux/SessionType.h"

namespace morvel {

bool isX11Session(const Environment& environment) {
    const std::string type = environment("XDG_SESSION_TYPE").value_or("");
    if (type == "x11" || type == "wayland")
        return type == "x11";
    return environment("WAYLAND_DISPLAY").value_or("").empty();
}

} // namespace morvel
