#include "platform/linux/X11TransientWindows.h"

#include <xcb/shape.h>
#include <xcb/xinput.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <utility>

namespace morvel {

namespace {

template <typename Reply>
struct FreeReply {
    void operator()(Reply* reply) const { std::free(reply); }
};

template <typename Reply>
using ReplyPtr = std::unique_ptr<Reply, FreeReply<Reply>>;

bool hasExtension(xcb_connection_t* connection, xcb_extension_t& extension) {
    const auto* data = xcb_get_extension_data(connection, &extension);
    return data != nullptr && data->present != 0;
}

// The wheels' turns are the presses of four buttons.
bool isWheel(std::uint32_t button) {
    return button >= 4 && button <= 7;
}

} // namespace

class X11TransientWindows::ButtonWatch : public PointerWatch {
public:
    ButtonWatch(X11Connection& connection, std::function<void(bool)> changed)
        : connection_(connection)
        , changed_(std::move(changed)) {
        if (!connection_.alive() || !hasExtension(connection_.handle(), xcb_input_id))
            return;
        opcode_ = xcb_get_extension_data(connection_.handle(), &xcb_input_id)->major_opcode;
        std::free(xcb_input_xi_query_version_reply(
            connection_.handle(), xcb_input_xi_query_version(connection_.handle(), 2, 2), nullptr));
        select(XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS |
               XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_RELEASE);
        observation_ = connection_.observe([this](const auto& event) { handle(event); });
        connection_.dispatchLater();
    }
    ~ButtonWatch() override {
        if (observation_ && connection_.alive())
            select(0);
    }
    ButtonWatch(const ButtonWatch&) = delete;
    ButtonWatch& operator=(const ButtonWatch&) = delete;

private:
    void select(std::uint32_t events) {
        struct {
            xcb_input_event_mask_t header;
            std::uint32_t mask;
        } const selection{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, events};
        xcb_input_xi_select_events(connection_.handle(), connection_.root(), 1, &selection.header);
        xcb_flush(connection_.handle());
    }

    void handle(const xcb_generic_event_t& event) {
        const auto& raw = reinterpret_cast<const xcb_input_raw_button_press_event_t&>(event);
        if ((event.response_type & 0x7f) != XCB_GE_GENERIC || raw.extension != opcode_)
            return;
        const bool down = raw.event_type == XCB_INPUT_RAW_BUTTON_PRESS;
        if ((!down && raw.event_type != XCB_INPUT_RAW_BUTTON_RELEASE) || isWheel(raw.detail))
            return;
        const auto changed = changed_; // the call may end the watch
        changed(down);
    }

    X11Connection& connection_;
    const std::function<void(bool)> changed_;
    std::uint8_t opcode_ = 0;
    std::unique_ptr<X11Connection::Observation> observation_;
};

X11TransientWindows::X11TransientWindows(X11Connection& connection)
    : connection_(connection)
    , compositorSelection_(atom("_NET_WM_CM_S" + std::to_string(connection.screen()))) {}

bool X11TransientWindows::composites() const {
    if (!connection_.alive())
        return false;
    const ReplyPtr<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(
        connection_.handle(), xcb_get_selection_owner(connection_.handle(), compositorSelection_),
        nullptr));
    connection_.dispatchLater();
    return owner && owner->owner != XCB_NONE;
}

void X11TransientWindows::setShadow(std::uint64_t window, Geometry geometry) {
    if (!connection_.alive())
        return;
    xcb_connection_t* server = connection_.handle();
    const auto id = static_cast<xcb_window_t>(window);
    const auto margin = static_cast<std::uint32_t>(std::max(geometry.margin, 0));
    // Compositors give a window that says where its own shadow is no second one.
    const std::uint32_t extents[] = {margin, margin, margin, margin};
    xcb_change_property(server, XCB_PROP_MODE_REPLACE, id, atom("_GTK_FRAME_EXTENTS"),
                        XCB_ATOM_CARDINAL, 32, 4, extents);
    if (hasExtension(server, xcb_shape_id)) {
        const int width = std::max(geometry.width - 2 * geometry.margin, 1);
        const int height = std::max(geometry.height - 2 * geometry.margin, 1);
        const xcb_rectangle_t inside{
            static_cast<std::int16_t>(margin), static_cast<std::int16_t>(margin),
            static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height)};
        xcb_shape_rectangles(server, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT,
                             XCB_CLIP_ORDERING_UNSORTED, id, 0, 0, 1, &inside);
    }
    xcb_flush(server);
}

void X11TransientWindows::takeKeyboard(std::uint64_t window) {
    if (!connection_.alive())
        return;
    const auto id = static_cast<xcb_window_t>(window);
    const xcb_window_t owner = keyboardOwner();
    if (owner == id)
        return;
    previousOwner_ = owner;
    // In the name of the present: the click that this answers may have gone to another client.
    xcb_set_input_focus(connection_.handle(), XCB_INPUT_FOCUS_POINTER_ROOT, id, XCB_CURRENT_TIME);
    xcb_flush(connection_.handle());
}

bool X11TransientWindows::hasKeyboard(std::uint64_t window) const {
    return connection_.alive() && keyboardOwner() == static_cast<xcb_window_t>(window);
}

void X11TransientWindows::returnKeyboard(std::uint64_t window) {
    const xcb_window_t previous = std::exchange(previousOwner_, XCB_NONE);
    if (previous == XCB_NONE || !connection_.alive() ||
        keyboardOwner() != static_cast<xcb_window_t>(window))
        return;
    // Refused by the server where that window has gone meanwhile.
    xcb_set_input_focus(connection_.handle(), XCB_INPUT_FOCUS_POINTER_ROOT, previous,
                        XCB_CURRENT_TIME);
    xcb_flush(connection_.handle());
}

std::unique_ptr<TransientWindows::PointerWatch>
X11TransientWindows::watchButtons(std::function<void(bool down)> changed) {
    return std::make_unique<ButtonWatch>(connection_, std::move(changed));
}

xcb_window_t X11TransientWindows::keyboardOwner() const {
    const ReplyPtr<xcb_get_input_focus_reply_t> focus(xcb_get_input_focus_reply(
        connection_.handle(), xcb_get_input_focus(connection_.handle()), nullptr));
    connection_.dispatchLater();
    return focus ? focus->focus : XCB_NONE;
}

xcb_atom_t X11TransientWindows::atom(const std::string& name) const {
    const ReplyPtr<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        connection_.handle(),
        xcb_intern_atom(connection_.handle(), 0, static_cast<std::uint16_t>(name.size()),
                        name.c_str()),
        nullptr));
    connection_.dispatchLater();
    return reply ? reply->atom : XCB_NONE;
}

} // namespace morvel
