#include "platform/linux/X11KeyEventPoster.h"

#include <xcb/xtest.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace morvel {

namespace {

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};

template <typename Reply>
using ReplyPtr = std::unique_ptr<Reply, FreeReply>;

constexpr std::uint8_t usualF13 = 191; // as the kernel numbers keys, and X11 with it

// Nothing without an answer from the server.
std::optional<std::bitset<256>> repeatingKeys(xcb_connection_t* server) {
    const ReplyPtr<xcb_get_keyboard_control_reply_t> control(
        xcb_get_keyboard_control_reply(server, xcb_get_keyboard_control(server), nullptr));
    if (!control)
        return std::nullopt;
    std::bitset<256> keys;
    if (control->global_auto_repeat == XCB_AUTO_REPEAT_MODE_ON)
        for (std::size_t key = 0; key < keys.size(); ++key)
            keys[key] = (control->auto_repeats[key / 8] >> (key % 8) & 1) != 0;
    return keys;
}

std::optional<std::uint8_t> findF13(xcb_connection_t* server) {
    const xcb_setup_t* setup = xcb_get_setup(server);
    const auto count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
    const ReplyPtr<xcb_get_keyboard_mapping_reply_t> mapping(xcb_get_keyboard_mapping_reply(
        server, xcb_get_keyboard_mapping(server, setup->min_keycode, count), nullptr));
    const auto repeating = repeatingKeys(server);
    if (!mapping || !repeating)
        return std::nullopt;
    return f13HardwareKey(
        {setup->min_keycode,
         mapping->keysyms_per_keycode,
         {xcb_get_keyboard_mapping_keysyms(mapping.get()),
          static_cast<std::size_t>(xcb_get_keyboard_mapping_keysyms_length(mapping.get()))},
         *repeating});
}

} // namespace

std::optional<std::uint8_t> f13HardwareKey(const X11KeySymbols& keys) {
    if (keys.symbolsPerKey == 0)
        return std::nullopt;
    const std::size_t count = keys.symbols.size() / keys.symbolsPerKey;
    std::optional<std::uint8_t> silent;
    std::optional<std::uint8_t> repeatingSilent;
    for (std::size_t i = 0; i < count; ++i) {
        const auto symbols = keys.symbols.subspan(i * keys.symbolsPerKey, keys.symbolsPerKey);
        const auto key = static_cast<std::uint8_t>(keys.firstKey + i);
        if (symbols.front() == XKB_KEY_F13)
            return key;
        if (!std::ranges::all_of(symbols, [](auto symbol) { return symbol == XKB_KEY_NoSymbol; }))
            continue;
        silent = silent.value_or(key);
        if (keys.repeating[key])
            repeatingSilent = repeatingSilent.value_or(key);
    }
    if (repeatingSilent || silent)
        return repeatingSilent ? repeatingSilent : silent;
    const bool exists = usualF13 >= keys.firstKey && usualF13 < keys.firstKey + count;
    return exists ? std::optional(usualF13) : std::nullopt;
}

X11KeyEventPoster::~X11KeyEventPoster() {
    release();
}

bool X11KeyEventPoster::post(std::int64_t keyCode, Motion motion) {
    if (keyCode != f13KeyCode)
        return false;
    switch (motion) {
    case Motion::down:
        return press();
    case Motion::repeat:
        return repeat();
    case Motion::up:
        return release();
    }
    return false;
}

bool X11KeyEventPoster::press() {
    if (held_ || !connection_.alive())
        return false;
    const auto key = findF13(connection_.handle());
    if (!key || !send(XCB_KEY_PRESS, *key))
        return false;
    held_ = key;
    return true;
}

// The server takes another press of a key that is down for a repeat, and drops it where the key
// has none.
bool X11KeyEventPoster::repeat() {
    if (!held_ || !connection_.alive())
        return false;
    const auto repeating = repeatingKeys(connection_.handle());
    return repeating && (*repeating)[*held_] && send(XCB_KEY_PRESS, *held_);
}

// The key that was pressed, wherever the keymap has F13 by now.
bool X11KeyEventPoster::release() {
    if (!held_)
        return false;
    const std::uint8_t key = *held_;
    held_.reset();
    return send(XCB_KEY_RELEASE, key);
}

bool X11KeyEventPoster::send(std::uint8_t type, std::uint8_t key) {
    if (!connection_.alive())
        return false;
    xcb_connection_t* server = connection_.handle();
    const auto* extension = xcb_get_extension_data(server, &xcb_test_id);
    if (extension == nullptr || extension->present == 0)
        return false;
    const ReplyPtr<xcb_generic_error_t> error(
        xcb_request_check(server, xcb_test_fake_input_checked(server, type, key, XCB_CURRENT_TIME,
                                                              XCB_NONE, 0, 0, 0)));
    connection_.dispatchLater(); // events may have come in with the answer
    return !error && connection_.alive();
}

} // namespace morvel
