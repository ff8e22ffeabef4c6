#include "tools/audition/KeyInjector.h"

#include <xcb/xtest.h>

#include <chrono>
#include <cstdlib>
#include <stdexcept>

namespace morvel::audition {

namespace {

template <typename Reply>
struct FreeReply {
    void operator()(Reply* reply) const { std::free(reply); }
};

std::uint64_t hostNanos() {
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                          std::chrono::steady_clock::now().time_since_epoch())
                                          .count());
}

} // namespace

KeyInjector::KeyInjector(const std::string& display)
    : connection_(xcb_connect(display.empty() ? nullptr : display.c_str(), nullptr)) {
    if (xcb_connection_has_error(connection_.get()) != 0)
        throw std::runtime_error("no X server at " + (display.empty() ? "$DISPLAY" : display));
    const auto* extension = xcb_get_extension_data(connection_.get(), &xcb_test_id);
    if (extension == nullptr || extension->present == 0)
        throw std::runtime_error("the X server has no XTEST extension");
}

KeyInjector::Position KeyInjector::positionOf(xkb_keysym_t keysym) const {
    // Read afresh: the layout may have changed since the last key.
    const xcb_setup_t* setup = xcb_get_setup(connection_.get());
    const auto count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
    const std::unique_ptr<xcb_get_keyboard_mapping_reply_t,
                          FreeReply<xcb_get_keyboard_mapping_reply_t>>
        mapping(xcb_get_keyboard_mapping_reply(
            connection_.get(),
            xcb_get_keyboard_mapping(connection_.get(), setup->min_keycode, count), nullptr));
    if (!mapping)
        throw std::runtime_error("the X server has gone away");
    const xcb_keysym_t* symbols = xcb_get_keyboard_mapping_keysyms(mapping.get());
    for (int level = 0; level < 2; ++level)
        for (int key = 0; key < count; ++key)
            if (symbols[key * mapping->keysyms_per_keycode + level] == keysym)
                return {static_cast<std::uint8_t>(setup->min_keycode + key), level};
    throw std::runtime_error("no key has the symbol " + std::to_string(keysym));
}

bool KeyInjector::needsShift(xkb_keysym_t keysym) const {
    return positionOf(keysym).level == 1;
}

std::uint64_t KeyInjector::send(xkb_keysym_t keysym, bool pressed) {
    const Position position = positionOf(keysym);
    const std::uint64_t before = hostNanos();
    xcb_test_fake_input(connection_.get(), pressed ? XCB_KEY_PRESS : XCB_KEY_RELEASE,
                        position.keyCode, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    // A reply proves that the server has got this far.
    const std::unique_ptr<xcb_get_input_focus_reply_t, FreeReply<xcb_get_input_focus_reply_t>>
        answer(xcb_get_input_focus_reply(connection_.get(), xcb_get_input_focus(connection_.get()),
                                         nullptr));
    if (!answer)
        throw std::runtime_error("the X server has gone away");
    return before;
}

} // namespace morvel::audition
