#include "platform/linux/VirtualKeyCodes.h"

#include <xkbcommon/xkbcommon-keysyms.h>

#include <algorithm>
#include <memory>

namespace morvel {

namespace {

struct StateDeleter {
    void operator()(xkb_state* state) const { xkb_state_unref(state); }
};

// A keymap may leave the symbol on the Caps Lock key and give it another action: what the key does
// decides what it is.
std::int64_t lockKeyCode(xkb_keymap* keymap, xkb_keycode_t code) {
    const std::unique_ptr<xkb_state, StateDeleter> state(xkb_state_new(keymap));
    if (!state)
        return neutralKeyCode;
    const auto sets = [&](const char* modifier, xkb_state_component component) {
        return xkb_state_mod_name_is_active(state.get(), modifier, component) > 0;
    };
    xkb_state_update_key(state.get(), code, XKB_KEY_DOWN);
    const bool isControl = sets(XKB_MOD_NAME_CTRL, XKB_STATE_MODS_DEPRESSED);
    const bool isShift = sets(XKB_MOD_NAME_SHIFT, XKB_STATE_MODS_DEPRESSED);
    xkb_state_update_key(state.get(), code, XKB_KEY_UP);
    if (sets(XKB_MOD_NAME_CAPS, XKB_STATE_MODS_LOCKED))
        return capsLockKeyCode;
    return isControl ? 59 : isShift ? 56 : neutralKeyCode;
}

// The range of hardware dependent symbols that newer keymaps use for the laptop's Fn key.
constexpr xkb_keysym_t fnKeysym = 0x100811d0;

} // namespace

std::int64_t virtualKeyCode(xkb_keysym_t keysym) {
    switch (keysym) {
    case XKB_KEY_space:
    case XKB_KEY_KP_Space:
        return 49;
    case XKB_KEY_Return:
        return 36;
    case XKB_KEY_KP_Enter:
    case XKB_KEY_ISO_Enter:
        return 76;
    case XKB_KEY_Tab:
    case XKB_KEY_ISO_Left_Tab:
    case XKB_KEY_KP_Tab:
        return 48;
    case XKB_KEY_BackSpace:
        return 51;
    case XKB_KEY_Delete:
        return 117;
    case XKB_KEY_Escape:
        return 53;
    case XKB_KEY_Control_L:
        return 59;
    case XKB_KEY_Control_R:
        return 62;
    case XKB_KEY_Shift_L:
        return 56;
    case XKB_KEY_Shift_R:
        return 60;
    case XKB_KEY_Super_L:
    case XKB_KEY_Meta_L:
    case XKB_KEY_Hyper_L:
        return 55;
    case XKB_KEY_Super_R:
    case XKB_KEY_Meta_R:
    case XKB_KEY_Hyper_R:
        return 54;
    case XKB_KEY_Alt_L:
        return 58;
    case XKB_KEY_Alt_R:
    case XKB_KEY_ISO_Level3_Shift:
    case XKB_KEY_Mode_switch:
        return 61;
    case XKB_KEY_Caps_Lock:
    case XKB_KEY_Shift_Lock:
        return capsLockKeyCode;
    case fnKeysym:
        return 63;
    default:
        return neutralKeyCode;
    }
}

bool isModifierKeyCode(std::int64_t virtualKeyCode) {
    return virtualKeyCode >= 54 && virtualKeyCode <= 63;
}

VirtualKeyCodeTable virtualKeyCodeTable(xkb_keymap* keymap, xkb_layout_index_t layout) {
    VirtualKeyCodeTable table;
    table.fill(neutralKeyCode);
    const std::unique_ptr<xkb_state, StateDeleter> state(xkb_state_new(keymap));
    if (!state)
        return table;
    xkb_state_update_mask(state.get(), 0, 0, 0, 0, 0, layout);
    const xkb_keycode_t first = xkb_keymap_min_keycode(keymap);
    const xkb_keycode_t last =
        std::min<xkb_keycode_t>(xkb_keymap_max_keycode(keymap), table.size() - 1);
    for (xkb_keycode_t code = first; code <= last; ++code) {
        const xkb_layout_index_t keyLayout = xkb_state_key_get_layout(state.get(), code);
        if (keyLayout == XKB_LAYOUT_INVALID)
            continue;
        const xkb_keysym_t* symbols = nullptr;
        if (xkb_keymap_key_get_syms_by_level(keymap, code, keyLayout, 0, &symbols) != 1)
            continue;
        table[code] = virtualKeyCode(symbols[0]);
        if (table[code] == capsLockKeyCode)
            table[code] = lockKeyCode(keymap, code);
    }
    return table;
}

} // namespace morvel
