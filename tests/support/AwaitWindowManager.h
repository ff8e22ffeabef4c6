// Waiting for a window manager that has just been started.
#pragma once

#include "tests/support/ChildProcess.h"

#include <xcb/xcb.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

namespace morvel::test {

// Returns when `manager` looks after the windows of `display`: until then it frames none, and may
// take the keyboard from whoever has it. Throws std::runtime_error when it ends instead.
inline void awaitWindowManager(const std::string& display, ChildProcess& manager) {
    int number = 0;
    const std::unique_ptr<xcb_connection_t, void (*)(xcb_connection_t*)> server(
        xcb_connect(display.c_str(), &number), xcb_disconnect);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(server.get())).data->root;
    const std::string name = "_NET_CLIENT_LIST";
    auto* atom = xcb_intern_atom_reply(
        server.get(),
        xcb_intern_atom(server.get(), 0, static_cast<std::uint16_t>(name.size()), name.c_str()),
        nullptr);
    const xcb_atom_t clientList = atom != nullptr ? atom->atom : xcb_atom_t{XCB_NONE};
    std::free(atom);
    for (bool there = false; !there;) {
        if (!manager.running())
            throw std::runtime_error("the window manager did not start");
        auto* property = xcb_get_property_reply(
            server.get(), xcb_get_property(server.get(), 0, root, clientList, XCB_ATOM_ANY, 0, 1),
            nullptr);
        there = property != nullptr && property->type != XCB_NONE;
        std::free(property);
    }
}

} // namespace morvel::test
