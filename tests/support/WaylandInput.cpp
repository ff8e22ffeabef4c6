#include "tests/support/WaylandInput.h"

#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <stdexcept>
#include <vector>

namespace morvel::test {

namespace {

// The protocols as far as they are spoken here: requests in their order.
extern const wl_interface mouseInterface;
extern const wl_interface keyboardInterface;

const std::array<const wl_interface*, 7> noTypes{};
const std::array<const wl_interface*, 2> mouseTypes = {&wl_seat_interface, &mouseInterface};
const std::array<const wl_interface*, 2> keyboardTypes = {&wl_seat_interface, &keyboardInterface};

constexpr std::uint32_t createDevice = 0; // of both managers
const std::array<wl_message, 1> mouseManagerRequests = {
    {{"create_virtual_pointer", "?on", const_cast<const wl_interface**>(mouseTypes.data())}}};
const wl_interface mouseManagerInterface = {"zwlr_virtual_pointer_manager_v1", 1, 1,
                                            mouseManagerRequests.data(),       0, nullptr};
const std::array<wl_message, 1> keyboardManagerRequests = {
    {{"create_virtual_keyboard", "on", const_cast<const wl_interface**>(keyboardTypes.data())}}};
const wl_interface keyboardManagerInterface = {"zwp_virtual_keyboard_manager_v1", 1, 1,
                                               keyboardManagerRequests.data(),    0, nullptr};

enum MouseRequest : std::uint32_t { motion, motionAbsolute, button, axis, frame };
const std::array<wl_message, 5> mouseRequests = {
    {{"motion", "uff", const_cast<const wl_interface**>(noTypes.data())},
     {"motion_absolute", "uuuuu", const_cast<const wl_interface**>(noTypes.data())},
     {"button", "uuu", const_cast<const wl_interface**>(noTypes.data())},
     {"axis", "uuf", const_cast<const wl_interface**>(noTypes.data())},
     {"frame", "", const_cast<const wl_interface**>(noTypes.data())}}};
const wl_interface mouseInterface = {"zwlr_virtual_pointer_v1", 1, mouseRequests.size(),
                                     mouseRequests.data(),      0, nullptr};

enum KeyboardRequest : std::uint32_t { keymap, key };
const std::array<wl_message, 2> keyboardRequests = {
    {{"keymap", "uhu", const_cast<const wl_interface**>(noTypes.data())},
     {"key", "uuu", const_cast<const wl_interface**>(noTypes.data())}}};
const wl_interface keyboardInterface = {"zwp_virtual_keyboard_v1", 1, keyboardRequests.size(),
                                        keyboardRequests.data(),   0, nullptr};

void request(wl_proxy* proxy, std::uint32_t opcode, std::initializer_list<std::uint32_t> numbers) {
    std::vector<wl_argument> arguments;
    for (const std::uint32_t number : numbers)
        arguments.push_back({.u = number});
    wl_proxy_marshal_array_flags(proxy, opcode, nullptr, wl_proxy_get_version(proxy), 0,
                                 arguments.data());
}

wl_proxy* device(wl_proxy* manager, wl_proxy* seat, const wl_interface& interface) {
    std::array<wl_argument, 2> arguments{};
    arguments[0].o = reinterpret_cast<wl_object*>(seat);
    return wl_proxy_marshal_array_flags(manager, createDevice, &interface, 1, 0, arguments.data());
}

} // namespace

struct WaylandInput::Globals {
    static void announced(void* data, wl_registry* registry, std::uint32_t name,
                          const char* interface, std::uint32_t) {
        auto& self = *static_cast<Globals*>(data);
        const auto bind = [&](wl_proxy*& global, const wl_interface& wanted) {
            if (global == nullptr && std::strcmp(interface, wanted.name) == 0)
                global = static_cast<wl_proxy*>(wl_registry_bind(registry, name, &wanted, 1));
        };
        bind(self.seat, wl_seat_interface);
        bind(self.mice, mouseManagerInterface);
        bind(self.keyboards, keyboardManagerInterface);
    }
    static void gone(void*, wl_registry*, std::uint32_t) {}

    wl_proxy* seat = nullptr;
    wl_proxy* mice = nullptr;
    wl_proxy* keyboards = nullptr;
    wl_registry_listener listener = {announced, gone};
};

WaylandInput::WaylandInput(const std::string& socket, QSize size)
    : display_(wl_display_connect(socket.c_str()))
    , size_(size)
    , globals_(std::make_unique<Globals>()) {
    if (display_ == nullptr)
        throw std::runtime_error("no compositor at " + socket);
    wl_registry* const registry = wl_display_get_registry(display_);
    wl_registry_add_listener(registry, &globals_->listener, globals_.get());
    settle();
    wl_registry_destroy(registry);
    if (globals_->seat == nullptr || globals_->mice == nullptr || globals_->keyboards == nullptr) {
        wl_display_disconnect(display_);
        throw std::runtime_error("the compositor takes no input from clients");
    }
    mouse_ = device(globals_->mice, globals_->seat, mouseInterface);
    keyboard_ = device(globals_->keyboards, globals_->seat, keyboardInterface);
    setKeymap();
    settle();
}

WaylandInput::~WaylandInput() {
    for (wl_proxy* proxy : {mouse_, keyboard_, globals_->seat, globals_->mice, globals_->keyboards})
        wl_proxy_destroy(proxy);
    wl_display_disconnect(display_);
}

void WaylandInput::setKeymap() {
    const std::unique_ptr<xkb_context, decltype(&xkb_context_unref)> context(
        xkb_context_new(XKB_CONTEXT_NO_FLAGS), xkb_context_unref);
    const xkb_rule_names names = {nullptr, nullptr, "us", nullptr, nullptr};
    const std::unique_ptr<xkb_keymap, decltype(&xkb_keymap_unref)> map(
        xkb_keymap_new_from_names(context.get(), &names, XKB_KEYMAP_COMPILE_NO_FLAGS),
        xkb_keymap_unref);
    const std::unique_ptr<char, decltype(&std::free)> text(
        xkb_keymap_get_as_string(map.get(), XKB_KEYMAP_FORMAT_TEXT_V1), std::free);
    const std::size_t size = std::strlen(text.get()) + 1;
    const int file = ::memfd_create("keymap", MFD_CLOEXEC);
    if (file < 0 || ::write(file, text.get(), size) != static_cast<ssize_t>(size))
        throw std::runtime_error("no keymap");
    std::array<wl_argument, 3> arguments{};
    arguments[0].u = WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1;
    arguments[1].h = file;
    arguments[2].u = static_cast<std::uint32_t>(size);
    wl_proxy_marshal_array_flags(keyboard_, keymap, nullptr, 1, 0, arguments.data());
    settle();
    ::close(file);
}

void WaylandInput::move(QPoint point) {
    request(mouse_, motionAbsolute,
            {now(), static_cast<std::uint32_t>(point.x()), static_cast<std::uint32_t>(point.y()),
             static_cast<std::uint32_t>(size_.width()),
             static_cast<std::uint32_t>(size_.height())});
    request(mouse_, frame, {});
    settle();
}

void WaylandInput::click(QPoint point, Button which) {
    move(point);
    press(which);
    release(which);
}

void WaylandInput::setButton(Button which, bool down) {
    request(mouse_, button, {now(), static_cast<std::uint32_t>(which), down ? 1U : 0U});
    request(mouse_, frame, {});
    settle();
}

void WaylandInput::strike(std::uint32_t which) {
    request(keyboard_, key, {now(), which, WL_KEYBOARD_KEY_STATE_PRESSED});
    request(keyboard_, key, {now(), which, WL_KEYBOARD_KEY_STATE_RELEASED});
    settle();
}

void WaylandInput::settle() {
    wl_display_roundtrip(display_);
}

std::uint32_t WaylandInput::now() const {
    return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                          std::chrono::steady_clock::now().time_since_epoch())
                                          .count());
}

} // namespace morvel::test
