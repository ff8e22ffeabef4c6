// Moves and clicks the pointer of an X server as a mouse would, through its XTEST extension.
#pragma once

#include <xcb/xtest.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

namespace morvel::test {

class PointerInjector {
public:
    explicit PointerInjector(const std::string& display)
        : connection_(xcb_connect(display.c_str(), nullptr), xcb_disconnect) {
        if (xcb_connection_has_error(connection_.get()) != 0)
            throw std::runtime_error("no X server at " + display);
    }

    // Each returns once the server has done it. Buttons: 1 is the left one, 3 the right one.
    void move(int x, int y) { send(XCB_MOTION_NOTIFY, 0, x, y); }
    void press(int button = 1) { send(XCB_BUTTON_PRESS, button, 0, 0); }
    void release(int button = 1) { send(XCB_BUTTON_RELEASE, button, 0, 0); }
    void click(int x, int y, int button = 1) {
        move(x, y);
        press(button);
        release(button);
    }

private:
    void send(std::uint8_t type, int detail, int x, int y) {
        xcb_test_fake_input(connection_.get(), type, static_cast<std::uint8_t>(detail),
                            XCB_CURRENT_TIME, XCB_NONE, static_cast<std::int16_t>(x),
                            static_cast<std::int16_t>(y), 0);
        std::free(xcb_get_input_focus_reply(connection_.get(),
                                            xcb_get_input_focus(connection_.get()), nullptr));
    }

    std::unique_ptr<xcb_connection_t, void (*)(xcb_connection_t*)> connection_;
};

} // namespace morvel::test
