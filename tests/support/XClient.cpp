#include "tests/support/XClient.h"

#include <poll.h>
#include <xcb/damage.h>
#include <xcb/xfixes.h>

#include <stdexcept>

namespace morvel::test {

namespace {

constexpr std::uint32_t longestProperty = 65536; // in words

} // namespace

XClient::XClient(const std::string& display)
    : connection_(xcb_connect(display.c_str(), nullptr)) {
    if (xcb_connection_has_error(handle()) != 0)
        throw std::runtime_error("no X server at " + display);
    screen_ = xcb_setup_roots_iterator(xcb_get_setup(handle())).data;
}

xcb_atom_t XClient::atom(const std::string& name) {
    if (const auto known = atoms_.find(name); known != atoms_.end())
        return known->second;
    const auto reply = held(xcb_intern_atom_reply(
        handle(),
        xcb_intern_atom(handle(), 0, static_cast<std::uint16_t>(name.size()), name.c_str()),
        nullptr));
    if (!reply)
        throw std::runtime_error("the X server has gone away");
    return atoms_[name] = reply->atom;
}

std::vector<std::uint32_t> XClient::values(xcb_window_t window, const std::string& property) {
    const auto reply =
        held(xcb_get_property_reply(handle(),
                                    xcb_get_property(handle(), 0, window, atom(property),
                                                     XCB_GET_PROPERTY_TYPE_ANY, 0, longestProperty),
                                    nullptr));
    if (!reply || reply->format != 32)
        return {};
    const auto* first = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
    return {first, first + reply->value_len};
}

std::string XClient::text(xcb_window_t window, const std::string& property) {
    const auto reply =
        held(xcb_get_property_reply(handle(),
                                    xcb_get_property(handle(), 0, window, atom(property),
                                                     XCB_GET_PROPERTY_TYPE_ANY, 0, longestProperty),
                                    nullptr));
    if (!reply || reply->format != 8)
        return {};
    const auto* first = static_cast<const char*>(xcb_get_property_value(reply.get()));
    return {first, first + reply->value_len};
}

xcb_window_t XClient::owner(const std::string& selection) {
    const auto reply = held(xcb_get_selection_owner_reply(
        handle(), xcb_get_selection_owner(handle(), atom(selection)), nullptr));
    return reply ? reply->owner : XCB_NONE;
}

void XClient::watch(xcb_window_t window, std::uint32_t events) {
    xcb_change_window_attributes(handle(), window, XCB_CW_EVENT_MASK, &events);
}

void XClient::watchOwner(const std::string& selection) {
    held(xcb_xfixes_query_version_reply(handle(), xcb_xfixes_query_version(handle(), 5, 0),
                                        nullptr));
    xcb_xfixes_select_selection_input(handle(), root(), atom(selection),
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
}

void XClient::watchPictures() {
    if (damage_ != 0)
        return;
    held(xcb_damage_query_version_reply(handle(), xcb_damage_query_version(handle(), 1, 1),
                                        nullptr));
    damageEvent_ = static_cast<std::uint8_t>(
        xcb_get_extension_data(handle(), &xcb_damage_id)->first_event + XCB_DAMAGE_NOTIFY);
    damage_ = xcb_generate_id(handle());
    xcb_damage_create(handle(), damage_, root(), XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
}

bool XClient::awaitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        takeEvents();
        if (done())
            return true;
        // Asking may have brought events in with the answers.
        while (!takeEvents()) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            pollfd readable{xcb_get_file_descriptor(handle()), POLLIN, 0};
            if (left.count() <= 0 || poll(&readable, 1, static_cast<int>(left.count())) != 1)
                return done();
        }
    }
}

bool XClient::takeEvents() {
    bool any = false;
    bool painted = false;
    while (const auto event = held(xcb_poll_for_event(handle()))) {
        any = true;
        painted = painted || (damage_ != 0 && (event->response_type & 0x7f) == damageEvent_);
    }
    // From here on the next paint is told again.
    if (painted)
        xcb_damage_subtract(handle(), damage_, XCB_NONE, XCB_NONE);
    if (xcb_connection_has_error(handle()) != 0)
        throw std::runtime_error("the X server has gone away");
    xcb_flush(handle());
    return any;
}

void XClient::settle() {
    if (!held(xcb_get_input_focus_reply(handle(), xcb_get_input_focus(handle()), nullptr)))
        throw std::runtime_error("the X server has gone away");
}

} // namespace morvel::test
