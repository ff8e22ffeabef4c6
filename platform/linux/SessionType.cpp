#include "platform/linux/SessionType.h"

#include <xcb/xcb.h>

namespace morvel {

bool isX11Session(const Environment& environment) {
    const std::string type = environment("XDG_SESSION_TYPE").value_or("");
    if (type == "x11" || type == "wayland")
        return type == "x11";
    return environment("WAYLAND_DISPLAY").value_or("").empty();
}

bool displayServerAnswers(const Environment& environment) {
    if (!environment("WAYLAND_DISPLAY").value_or("").empty())
        return true;
    xcb_connection_t* const connection = xcb_connect(nullptr, nullptr);
    const bool answers = xcb_connection_has_error(connection) == 0;
    xcb_disconnect(connection);
    return answers;
}

} // namespace morvel
