#include "platform/linux/X11KeyTap.h"

#include <xcb/xinput.h>
#include <xkbcommon/xkbcommon-x11.h>

#include <algorithm>
#include <cstdlib>
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

// Raw events reach a client during other clients' grabs from version 2.1 on; 2.2 is what every
// server of the last decade has.
bool hasRawKeyEvents(xcb_connection_t* connection) {
    const auto* extension = xcb_get_extension_data(connection, &xcb_input_id);
    if (extension == nullptr || extension->present == 0)
        return false;
    const ReplyPtr<xcb_input_xi_query_version_reply_t> version(xcb_input_xi_query_version_reply(
        connection, xcb_input_xi_query_version(connection, 2, 2), nullptr));
    return version && (version->major_version > 2 ||
                       (version->major_version == 2 && version->minor_version >= 2));
}

// An event of another machine's clock is off by far more than a key event is ever late.
constexpr std::int64_t plausibleLatenessMs = 10000;

} // namespace

X11KeyTap::X11KeyTap(X11Connection& connection, const Clock& clock)
    : connection_(connection)
    , clock_(clock)
    , context_(xkb_context_new(XKB_CONTEXT_NO_DEFAULT_INCLUDES)) {}

X11KeyTap::~X11KeyTap() {
    X11KeyTap::remove();
}

bool X11KeyTap::install(Listener& listener) {
    if (!connection_.alive() || !context_ || !setUpExtensions() || !readKeymap() ||
        !selectEvents(true))
        return false;
    translator_ = KeyEventTranslator();
    readState();
    useLayout(layout_);
    listener_ = &listener;
    observation_ = connection_.observe([this](const xcb_generic_event_t& event) { handle(event); });
    connection_.dispatch();
    return true;
}

void X11KeyTap::remove() {
    if (listener_ == nullptr)
        return;
    listener_ = nullptr;
    observation_.reset();
    if (connection_.alive())
        selectEvents(false);
}

bool X11KeyTap::setUpExtensions() {
    xcb_connection_t* server = connection_.handle();
    if (!hasRawKeyEvents(server))
        return false;
    inputOpcode_ = xcb_get_extension_data(server, &xcb_input_id)->major_opcode;
    if (xkb_x11_setup_xkb_extension(server, XKB_X11_MIN_MAJOR_XKB_VERSION,
                                    XKB_X11_MIN_MINOR_XKB_VERSION,
                                    XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr,
                                    &keyboardEventBase_, nullptr) == 0)
        return false;
    coreKeyboard_ = xkb_x11_get_core_keyboard_device_id(server);
    return coreKeyboard_ >= 0;
}

bool X11KeyTap::selectEvents(bool wanted) {
    xcb_connection_t* server = connection_.handle();
    struct Selection {
        xcb_input_event_mask_t header;
        std::uint32_t mask;
    };
    const std::uint32_t rawKeys =
        XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE;
    const std::uint32_t hierarchy = XCB_INPUT_XI_EVENT_MASK_HIERARCHY;
    const Selection selections[] = {
        {{XCB_INPUT_DEVICE_ALL_MASTER, 1}, wanted ? rawKeys : 0},
        {{XCB_INPUT_DEVICE_ALL, 1}, wanted ? hierarchy : 0},
    };
    const auto inputCookie = xcb_input_xi_select_events_checked(
        server, connection_.root(), static_cast<std::uint16_t>(std::size(selections)),
        &selections[0].header);

    const std::uint16_t events = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY |
                                 XCB_XKB_EVENT_TYPE_MAP_NOTIFY | XCB_XKB_EVENT_TYPE_STATE_NOTIFY;
    const std::uint16_t mapParts =
        XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_MODIFIER_MAP |
        XCB_XKB_MAP_PART_EXPLICIT_COMPONENTS | XCB_XKB_MAP_PART_KEY_ACTIONS;
    const std::uint16_t stateParts =
        XCB_XKB_STATE_PART_MODIFIER_LOCK | XCB_XKB_STATE_PART_GROUP_STATE;
    xcb_xkb_select_events_details_t details = {};
    details.affectNewKeyboard = XCB_XKB_NKN_DETAIL_KEYCODES;
    details.newKeyboardDetails = wanted ? details.affectNewKeyboard : std::uint16_t{0};
    details.affectState = stateParts;
    details.stateDetails = wanted ? stateParts : std::uint16_t{0};
    const auto keyboardCookie = xcb_xkb_select_events_aux_checked(
        server, static_cast<xcb_xkb_device_spec_t>(coreKeyboard_), events, 0, 0, mapParts,
        wanted ? mapParts : std::uint16_t{0}, &details);

    const ReplyPtr<xcb_generic_error_t> inputError(xcb_request_check(server, inputCookie));
    const ReplyPtr<xcb_generic_error_t> keyboardError(xcb_request_check(server, keyboardCookie));
    return !inputError && !keyboardError && connection_.alive();
}

bool X11KeyTap::readKeymap() {
    keymapChanged_ = false;
    std::unique_ptr<xkb_keymap, KeymapDeleter> keymap(xkb_x11_keymap_new_from_device(
        context_.get(), connection_.handle(), coreKeyboard_, XKB_KEYMAP_COMPILE_NO_FLAGS));
    if (!keymap)
        return false;
    keymap_ = std::move(keymap);
    const xkb_mod_index_t lock = xkb_keymap_mod_get_index(keymap_.get(), XKB_MOD_NAME_CAPS);
    capsLockMask_ = lock < 8 ? 1u << lock : 0;
    return true;
}

void X11KeyTap::readState() {
    const ReplyPtr<xcb_xkb_get_state_reply_t> state(xcb_xkb_get_state_reply(
        connection_.handle(),
        xcb_xkb_get_state(connection_.handle(), static_cast<xcb_xkb_device_spec_t>(coreKeyboard_)),
        nullptr));
    if (!state)
        return;
    layout_ = state->group;
    translator_.assumeCapsLock((state->lockedMods & capsLockMask_) != 0);
}

void X11KeyTap::useLayout(xkb_layout_index_t layout) {
    layout_ = layout;
    translator_.setTable(virtualKeyCodeTable(keymap_.get(), layout));
}

void X11KeyTap::handle(const xcb_generic_event_t& event) {
    const int type = event.response_type & 0x7f;
    if (type == keyboardEventBase_) {
        handleKeyboardEvent(event);
        return;
    }
    if (type != XCB_GE_GENERIC)
        return;
    const auto& generic = reinterpret_cast<const xcb_ge_generic_event_t&>(event);
    if (generic.extension != inputOpcode_)
        return;
    switch (generic.event_type) {
    case XCB_INPUT_RAW_KEY_PRESS:
        handleRawKey(event, true);
        break;
    case XCB_INPUT_RAW_KEY_RELEASE:
        handleRawKey(event, false);
        break;
    case XCB_INPUT_HIERARCHY:
        handleHierarchy(event);
        break;
    default:
        break;
    }
}

void X11KeyTap::handleRawKey(const xcb_generic_event_t& event, bool pressed) {
    // One change of layout announces itself several times over: the keymap is read once, when it
    // is next needed.
    if (keymapChanged_ && readKeymap())
        useLayout(layout_);
    const auto& raw = reinterpret_cast<const xcb_input_raw_key_press_event_t&>(event);
    deliver(translator_.key({.device = raw.sourceid,
                             .hardware = raw.detail,
                             .pressed = pressed,
                             .repeated = (raw.flags & XCB_INPUT_KEY_EVENT_FLAGS_KEY_REPEAT) != 0,
                             .timestampNanos = hostNanos(raw.time)}));
}

void X11KeyTap::handleHierarchy(const xcb_generic_event_t& event) {
    const auto& hierarchy = reinterpret_cast<const xcb_input_hierarchy_event_t&>(event);
    // From any of these on, its key releases go elsewhere or nowhere.
    const auto gone = XCB_INPUT_HIERARCHY_MASK_SLAVE_REMOVED |
                      XCB_INPUT_HIERARCHY_MASK_SLAVE_DETACHED |
                      XCB_INPUT_HIERARCHY_MASK_DEVICE_DISABLED;
    const xcb_input_hierarchy_info_t* infos = xcb_input_hierarchy_infos(&hierarchy);
    for (int i = 0; i < xcb_input_hierarchy_infos_length(&hierarchy); ++i)
        if ((infos[i].flags & gone) != 0)
            translator_.forgetDevice(infos[i].deviceid);
}

void X11KeyTap::handleKeyboardEvent(const xcb_generic_event_t& event) {
    // Every event of this extension carries its kind where others carry a detail.
    const auto& state = reinterpret_cast<const xcb_xkb_state_notify_event_t&>(event);
    switch (state.xkbType) {
    case XCB_XKB_NEW_KEYBOARD_NOTIFY:
    case XCB_XKB_MAP_NOTIFY:
        keymapChanged_ = true;
        break;
    case XCB_XKB_STATE_NOTIFY:
        if (state.group != layout_)
            useLayout(state.group);
        deliver(
            translator_.capsLock((state.lockedMods & capsLockMask_) != 0, hostNanos(state.time)));
        break;
    default:
        break;
    }
}

void X11KeyTap::deliver(const std::optional<KeyEvent>& event) {
    if (event && listener_ != nullptr)
        listener_->keyEvent(*event);
}

std::uint64_t X11KeyTap::hostNanos(std::uint32_t serverMilliseconds) const {
    constexpr std::uint64_t nanosPerMs = 1000000;
    const std::uint64_t nowMs = clock_.hostNanos() / nanosPerMs;
    const std::int64_t lateness =
        static_cast<std::int32_t>(static_cast<std::uint32_t>(nowMs) - serverMilliseconds);
    if (std::abs(lateness) > plausibleLatenessMs)
        return 0;
    return (nowMs - static_cast<std::uint64_t>(lateness)) * nanosPerMs;
}

X11TrustSource::X11TrustSource(X11Connection* connection)
    : connection_(connection)
    , hasRawEvents_(connection != nullptr && hasRawKeyEvents(connection->handle())) {}

bool X11TrustSource::isTrusted() {
    return hasRawEvents_ && connection_->alive();
}

} // namespace morvel
