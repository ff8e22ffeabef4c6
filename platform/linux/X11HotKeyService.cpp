#include "platform/linux/X11HotKeyService.h"

#include <xkbcommon/xkbcommon-x11.h>

#include <cstdlib>
#include <utility>
#include <vector>
// The header names a field with a keyword of C++.
#define explicit explicitFields
#include <xcb/xkb.h>
#undef explicit

namespace morvel {

namespace {

template <typename Reply>
struct FreeReply {
    void operator()(Reply* reply) const { std::free(reply); }
};

template <typename Reply>
using ReplyPtr = std::unique_ptr<Reply, FreeReply<Reply>>;

// Every set of the bits in `bits`, the empty one included: a grab holds for one state of the locks.
std::vector<std::uint16_t> subsets(std::uint16_t bits) {
    std::vector<std::uint16_t> result;
    std::uint16_t subset = bits;
    for (;;) {
        result.push_back(subset);
        if (subset == 0)
            return result;
        subset = static_cast<std::uint16_t>((subset - 1) & bits);
    }
}

} // namespace

X11HotKeyService::X11HotKeyService(X11Connection& connection, Scheduler& scheduler)
    : connection_(connection)
    , scheduler_(scheduler)
    , context_(xkb_context_new(XKB_CONTEXT_NO_DEFAULT_INCLUDES)) {
    if (!connection_.alive() || !context_ || !setUp() || !readKeymap())
        return;
    readLayout();
    observation_ = connection_.observe([this](const xcb_generic_event_t& event) { handle(event); });
}

X11HotKeyService::~X11HotKeyService() {
    for (auto& [number, registration] : registrations_)
        ungrab(registration);
    *following_ = true; // what is queued finds nobody any more
}

HotKeyStatus X11HotKeyService::installHandler(Handler handler) {
    if (!keymap_ || !connection_.alive())
        return eventInternalErr;
    handler_ = std::move(handler);
    return hotKeyNoErr;
}

Result<HotKeyReference, HotKeyStatus>
X11HotKeyService::registerHotKey(std::uint32_t keyCode, std::uint32_t modifiers,
                                 HotKeyIdentifier identifier) {
    if (!keymap_ || !connection_.alive())
        return eventInternalErr;
    Registration registration{keyCode, modifiers, identifier, std::nullopt};
    const HotKeyStatus status = grab(registration);
    connection_.dispatchLater(); // what came in while the server's answers were awaited
    if (status != hotKeyNoErr)
        return status;
    const std::uint32_t number = nextNumber_++;
    registrations_.emplace(number, registration);
    return HotKeyReference{number};
}

void X11HotKeyService::unregisterHotKey(HotKeyReference reference) {
    const auto found = registrations_.find(reference.number);
    if (found == registrations_.end())
        return;
    ungrab(found->second);
    registrations_.erase(found);
}

bool X11HotKeyService::setUp() {
    xcb_connection_t* server = connection_.handle();
    if (xkb_x11_setup_xkb_extension(server, XKB_X11_MIN_MAJOR_XKB_VERSION,
                                    XKB_X11_MIN_MINOR_XKB_VERSION,
                                    XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr,
                                    &keyboardEventBase_, nullptr) == 0)
        return false;
    coreKeyboard_ = xkb_x11_get_core_keyboard_device_id(server);
    if (coreKeyboard_ < 0)
        return false;
    const auto device = static_cast<xcb_xkb_device_spec_t>(coreKeyboard_);
    // A key that repeats is then pressed again without having been released.
    xcb_discard_reply(server, xcb_xkb_per_client_flags(
                                  server, device, XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT,
                                  XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT, 0, 0, 0)
                                  .sequence);
    const std::uint16_t events = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY |
                                 XCB_XKB_EVENT_TYPE_MAP_NOTIFY | XCB_XKB_EVENT_TYPE_STATE_NOTIFY;
    const std::uint16_t mapParts = XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS |
                                   XCB_XKB_MAP_PART_MODIFIER_MAP | XCB_XKB_MAP_PART_KEY_ACTIONS |
                                   XCB_XKB_MAP_PART_VIRTUAL_MODS;
    xcb_xkb_select_events_details_t details = {};
    details.affectNewKeyboard = XCB_XKB_NKN_DETAIL_KEYCODES;
    details.newKeyboardDetails = XCB_XKB_NKN_DETAIL_KEYCODES;
    details.affectState = XCB_XKB_STATE_PART_GROUP_STATE;
    details.stateDetails = XCB_XKB_STATE_PART_GROUP_STATE;
    const ReplyPtr<xcb_generic_error_t> error(
        xcb_request_check(server, xcb_xkb_select_events_aux_checked(server, device, events, 0, 0,
                                                                    mapParts, mapParts, &details)));
    return !error && connection_.alive();
}

bool X11HotKeyService::readKeymap() {
    keymapChanged_ = false;
    std::unique_ptr<xkb_keymap, KeymapDeleter> keymap(xkb_x11_keymap_new_from_device(
        context_.get(), connection_.handle(), coreKeyboard_, XKB_KEYMAP_COMPILE_NO_FLAGS));
    if (!keymap)
        return false;
    keymap_ = std::move(keymap);
    return true;
}

void X11HotKeyService::readLayout() {
    const ReplyPtr<xcb_xkb_get_state_reply_t> state(xcb_xkb_get_state_reply(
        connection_.handle(),
        xcb_xkb_get_state(connection_.handle(), static_cast<xcb_xkb_device_spec_t>(coreKeyboard_)),
        nullptr));
    if (state)
        layout_ = state->group;
}

HotKeyStatus X11HotKeyService::grab(Registration& registration) {
    const auto position =
        hotKeyPosition(keymap_.get(), layout_, registration.keyCode, registration.modifiers);
    if (!position)
        return eventHotKeyInvalidErr;
    xcb_connection_t* server = connection_.handle();
    const auto locks =
        static_cast<std::uint16_t>(lockModifiers(keymap_.get()) & ~position->modifiers);
    std::vector<xcb_void_cookie_t> requests;
    for (const std::uint16_t locked : subsets(locks))
        requests.push_back(xcb_grab_key_checked(
            server, 0, connection_.root(), static_cast<std::uint16_t>(position->modifiers | locked),
            position->key, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    HotKeyStatus status = hotKeyNoErr;
    for (const xcb_void_cookie_t request : requests) {
        const ReplyPtr<xcb_generic_error_t> error(xcb_request_check(server, request));
        if (error)
            status = error->error_code == XCB_ACCESS ? eventHotKeyExistsErr : eventHotKeyInvalidErr;
    }
    if (!connection_.alive())
        return eventInternalErr;
    registration.grabbed = position;
    registration.locks = locks;
    if (status != hotKeyNoErr)
        ungrab(registration); // a shortcut that works with some locks only is none
    return status;
}

void X11HotKeyService::ungrab(Registration& registration) {
    const auto position = std::exchange(registration.grabbed, std::nullopt);
    if (!position || !connection_.alive())
        return;
    for (const std::uint16_t locked : subsets(registration.locks))
        xcb_ungrab_key(connection_.handle(), position->key, connection_.root(),
                       static_cast<std::uint16_t>(position->modifiers | locked));
    xcb_flush(connection_.handle());
    held_.reset(position->key);
}

// Moves every grab to where the keymap now has its key.
void X11HotKeyService::follow() {
    if (!connection_.alive() || (keymapChanged_ && !readKeymap()))
        return;
    const std::uint16_t locks = lockModifiers(keymap_.get());
    for (auto& [number, registration] : registrations_) {
        const auto position =
            hotKeyPosition(keymap_.get(), layout_, registration.keyCode, registration.modifiers);
        if (position && position == registration.grabbed &&
            registration.locks == (locks & ~position->modifiers))
            continue;
        ungrab(registration);
        grab(registration);
    }
    connection_.dispatch();
}

// One change of layout announces itself several times over: it is followed once.
void X11HotKeyService::followLater() {
    if (std::exchange(*following_, true))
        return;
    scheduler_.async([this, queued = std::weak_ptr(following_)] {
        if (const auto following = queued.lock()) {
            *following = false;
            follow();
        }
    });
}

void X11HotKeyService::handle(const xcb_generic_event_t& event) {
    const int type = event.response_type & 0x7f;
    if (type == XCB_KEY_PRESS) {
        const auto& key = reinterpret_cast<const xcb_key_press_event_t&>(event);
        keyPressed(key.detail, key.state);
    } else if (type == XCB_KEY_RELEASE) {
        held_.reset(reinterpret_cast<const xcb_key_release_event_t&>(event).detail);
    } else if (type == keyboardEventBase_) {
        // Every event of this extension carries its kind where others carry a detail.
        const auto& state = reinterpret_cast<const xcb_xkb_state_notify_event_t&>(event);
        if (state.xkbType == XCB_XKB_STATE_NOTIFY)
            layout_ = state.group;
        else
            keymapChanged_ = true;
        followLater();
    }
}

void X11HotKeyService::keyPressed(std::uint8_t key, std::uint16_t state) {
    if (held_.test(key))
        return;
    held_.set(key);
    const std::uint16_t coreState = state & 0xff;
    for (const auto& [number, registration] : registrations_) {
        if (!registration.grabbed || registration.grabbed->key != key ||
            (coreState & ~registration.locks) != registration.grabbed->modifiers)
            continue;
        if (handler_) {
            const HotKeyIdentifier identifier = registration.identifier;
            handler_(identifier); // may give the registration up
        }
        return;
    }
}

} // namespace morvel
