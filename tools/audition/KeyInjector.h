// Presses keys of an X server as a keyboard would, through its XTEST extension.
#pragma once

#include <xcb/xcb.h>
#include <xkbcommon/xkbcommon.h>

#include <cstdint>
#include <memory>
#include <string>

namespace morvel::audition {

class KeyInjector {
public:
    // Connects to `display` (empty: the environment's). Throws std::runtime_error where there is no
    // server or it lacks XTEST.
    explicit KeyInjector(const std::string& display = {});

    // Presses or releases the first key whose unshifted (or, failing that, shifted) symbol is
    // `keysym`. Returns once the server has done it; answers the host clock (CLOCK_MONOTONIC,
    // nanoseconds) just before the request left. Throws std::runtime_error for a symbol that is on
    // no key.
    std::uint64_t press(xkb_keysym_t keysym) { return send(keysym, true); }
    std::uint64_t release(xkb_keysym_t keysym) { return send(keysym, false); }

    // True when the symbol needs Shift on its key.
    bool needsShift(xkb_keysym_t keysym) const;

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
    };
    struct Position {
        std::uint8_t keyCode;
        int level;
    };

    Position positionOf(xkb_keysym_t keysym) const;
    std::uint64_t send(xkb_keysym_t keysym, bool pressed);

    std::unique_ptr<xcb_connection_t, Disconnect> connection_;
};

} // namespace morvel::audition
