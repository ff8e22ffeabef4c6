#include "tests/support/WindowFinder.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace morvel::test {

namespace {

constexpr std::uint32_t watched = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY |
                                  XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE |
                                  XCB_EVENT_MASK_FOCUS_CHANGE;

std::pair<std::string, std::string> classNames(const std::string& property) {
    const std::size_t end = std::min(property.find('\0'), property.size());
    const std::string second = property.substr(std::min(end + 1, property.size()));
    return {property.substr(0, end), second.substr(0, second.find('\0'))};
}

} // namespace

std::vector<Window> WindowFinder::mapped() {
    std::vector<Window> found;
    collect(x_.root(), found);
    return found;
}

// Watching comes before looking, so that no change falls between.
void WindowFinder::collect(xcb_window_t parent, std::vector<Window>& found) {
    x_.watch(parent, watched);
    const auto tree =
        held(xcb_query_tree_reply(x_.handle(), xcb_query_tree(x_.handle(), parent), nullptr));
    if (!tree)
        return; // gone since
    const xcb_window_t* children = xcb_query_tree_children(tree.get());
    for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
        x_.watch(children[i], watched);
        if (auto window = describe(children[i]))
            found.push_back(std::move(*window));
        collect(children[i], found);
    }
}

std::optional<Window> WindowFinder::describe(xcb_window_t id) {
    xcb_connection_t* const c = x_.handle();
    const auto attributes =
        held(xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, id), nullptr));
    const auto geometry = held(xcb_get_geometry_reply(c, xcb_get_geometry(c, id), nullptr));
    const auto origin = held(xcb_translate_coordinates_reply(
        c, xcb_translate_coordinates(c, id, x_.root(), 0, 0), nullptr));
    if (!attributes || !geometry || !origin || attributes->map_state != XCB_MAP_STATE_VIEWABLE ||
        attributes->_class == XCB_WINDOW_CLASS_INPUT_ONLY)
        return std::nullopt;
    const std::string classProperty = x_.text(id, "WM_CLASS");
    const auto pid = x_.values(id, "_NET_WM_PID");
    if (classProperty.empty() && pid.empty())
        return std::nullopt;
    Window window;
    window.id = id;
    window.title = x_.text(id, "_NET_WM_NAME");
    if (window.title.empty())
        window.title = x_.text(id, "WM_NAME");
    std::tie(window.instanceName, window.className) = classNames(classProperty);
    window.pid = pid.empty() ? 0 : static_cast<pid_t>(pid.front());
    window.geometry = QRect(origin->dst_x, origin->dst_y, geometry->width, geometry->height);
    window.overrideRedirect = attributes->override_redirect != 0;
    return window;
}

std::optional<Window> WindowFinder::find(const Wanted& wanted) {
    for (auto& window : mapped())
        if (wanted(window))
            return window;
    return std::nullopt;
}

std::optional<Window> WindowFinder::await(const Wanted& wanted, std::chrono::milliseconds limit) {
    std::optional<Window> found;
    x_.awaitUntil(
        [&] {
            found = find(wanted);
            return found.has_value();
        },
        limit);
    return found;
}

bool WindowFinder::awaitNone(const Wanted& wanted, std::chrono::milliseconds limit) {
    return x_.awaitUntil([&] { return !find(wanted); }, limit);
}

std::optional<Window> WindowFinder::focused() {
    const auto focus =
        held(xcb_get_input_focus_reply(x_.handle(), xcb_get_input_focus(x_.handle()), nullptr));
    if (!focus || focus->focus <= XCB_INPUT_FOCUS_PARENT)
        return std::nullopt;
    x_.watch(focus->focus, watched);
    return describe(focus->focus);
}

bool WindowFinder::awaitFocus(const Wanted& wanted, std::chrono::milliseconds limit) {
    return x_.awaitUntil(
        [&] {
            mapped(); // whose changes of focus are then told
            const auto window = focused();
            return window && wanted(*window);
        },
        limit);
}

void WindowFinder::close(const Window& window) {
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window.id;
    message.type = x_.atom("_NET_CLOSE_WINDOW");
    xcb_send_event(x_.handle(), 0, x_.root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&message));
    x_.settle();
}

} // namespace morvel::test
