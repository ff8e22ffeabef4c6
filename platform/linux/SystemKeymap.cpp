#include "platform/linux/SystemKeymap.h"

#include <utility>

namespace morvel {

std::unique_ptr<SystemKeymap> SystemKeymap::load() {
    Context context(xkb_context_new(XKB_CONTEXT_NO_FLAGS));
    if (!context)
        return nullptr;
    Keymap keymap(xkb_keymap_new_from_names(context.get(), nullptr, XKB_KEYMAP_COMPILE_NO_FLAGS));
    if (!keymap)
        return nullptr;
    State state(xkb_state_new(keymap.get()));
    if (!state)
        return nullptr;
    // Its constructor is private.
    return std::unique_ptr<SystemKeymap>(
        new SystemKeymap(std::move(context), std::move(keymap), std::move(state)));
}

SystemKeymap::SystemKeymap(Context context, Keymap keymap, State state)
    : context_(std::move(context))
    , keymap_(std::move(keymap))
    , state_(std::move(state))
    , locks_(lockModifiers(keymap_.get())) {}

VirtualKeyCodeTable SystemKeymap::table() const {
    return virtualKeyCodeTable(keymap_.get(), layout());
}

std::optional<HotKeyPosition> SystemKeymap::hotKey(std::uint32_t virtualKeyCode,
                                                   std::uint32_t carbonModifiers) const {
    return hotKeyPosition(keymap_.get(), layout(), virtualKeyCode, carbonModifiers);
}

bool SystemKeymap::holdsModifiersOf(const HotKeyPosition& hotKey) const {
    const auto held = static_cast<std::uint16_t>(
        xkb_state_serialize_mods(state_.get(), XKB_STATE_MODS_DEPRESSED) & 0xff);
    return (held & ~(locks_ & ~hotKey.modifiers)) == hotKey.modifiers;
}

xkb_layout_index_t SystemKeymap::layout() const {
    return xkb_state_serialize_layout(state_.get(), XKB_STATE_LAYOUT_EFFECTIVE);
}

SystemKeymap::Change SystemKeymap::key(std::uint32_t hardware, bool pressed) {
    const bool wasLocked = capsLocked();
    const xkb_state_component changed =
        xkb_state_update_key(state_.get(), hardware, pressed ? XKB_KEY_DOWN : XKB_KEY_UP);
    return {.layout = (changed & XKB_STATE_LAYOUT_EFFECTIVE) != 0,
            .capsLock = capsLocked() != wasLocked};
}

bool SystemKeymap::capsLocked() const {
    return xkb_state_mod_name_is_active(state_.get(), XKB_MOD_NAME_CAPS, XKB_STATE_MODS_LOCKED) > 0;
}

} // namespace morvel
