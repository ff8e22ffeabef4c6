#include "platform/linux/X11FloatingWindows.h"

#include <xcb/xcb.h>

#include <QGuiApplication>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace morvel {

namespace {

constexpr std::uint32_t everyDesktop = 0xFFFFFFFF;

xcb_atom_t atom(xcb_connection_t* connection, const char* name) {
    const auto cookie =
        xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(std::strlen(name)), name);
    const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
        xcb_intern_atom_reply(connection, cookie, nullptr), &std::free);
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

} // namespace

void X11FloatingWindows::prepare(std::uintptr_t window) {
    const auto* const x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    xcb_connection_t* const connection = x11 == nullptr ? nullptr : x11->connection();
    if (connection == nullptr)
        return;
    // A window manager takes these away when a window is hidden.
    const std::array<xcb_atom_t, 4> states = {atom(connection, "_NET_WM_STATE_ABOVE"),
                                              atom(connection, "_NET_WM_STATE_STICKY"),
                                              atom(connection, "_NET_WM_STATE_SKIP_TASKBAR"),
                                              atom(connection, "_NET_WM_STATE_SKIP_PAGER")};
    const auto handle = static_cast<xcb_window_t>(window);
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, handle,
                        atom(connection, "_NET_WM_STATE"), XCB_ATOM_ATOM, 32, states.size(),
                        states.data());
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, handle,
                        atom(connection, "_NET_WM_DESKTOP"), XCB_ATOM_CARDINAL, 32, 1,
                        &everyDesktop);
}

} // namespace morvel
