#include "platform/linux/HotKeyLayout.h"

#include "platform/HotKeyService.h"

#include <xkbcommon/xkbcommon-keysyms.h>

#include <algorithm>
#include <memory>

namespace morvel {

namespace {

constexpr xkb_mod_mask_t coreModifiers = 0xff;
constexpr xkb_keycode_t lastKey = 255; // that the core protocol can name

struct StateDeleter {
    void operator()(xkb_state* state) const { xkb_state_unref(state); }
};

// The first key that makes the symbol unshifted in this layout.
std::optional<xkb_keycode_t> keyWith(xkb_keymap* keymap, xkb_layout_index_t layout,
                                     xkb_keysym_t symbol) {
    const xkb_keycode_t last = std::min(xkb_keymap_max_keycode(keymap), lastKey);
    for (xkb_keycode_t key = xkb_keymap_min_keycode(keymap); key <= last; ++key) {
        const xkb_keysym_t* symbols = nullptr;
        if (layout < xkb_keymap_num_layouts_for_key(keymap, key) &&
            xkb_keymap_key_get_syms_by_level(keymap, key, layout, 0, &symbols) == 1 &&
            symbols[0] == symbol)
            return key;
    }
    return std::nullopt;
}

std::optional<xkb_keycode_t> keyWithInAnyLayout(xkb_keymap* keymap, xkb_layout_index_t preferred,
                                                xkb_keysym_t symbol) {
    if (const auto key = keyWith(keymap, preferred, symbol))
        return key;
    for (xkb_layout_index_t layout = 0; layout < xkb_keymap_num_layouts(keymap); ++layout)
        if (const auto key = keyWith(keymap, layout, symbol))
            return key;
    return std::nullopt;
}

// The core modifiers that the key with this symbol sets or locks; 0 when there are none.
std::uint16_t modifiersOf(xkb_keymap* keymap, xkb_keysym_t symbol) {
    const auto key = keyWithInAnyLayout(keymap, 0, symbol);
    const std::unique_ptr<xkb_state, StateDeleter> state(xkb_state_new(keymap));
    if (!key || !state)
        return 0;
    xkb_state_update_key(state.get(), *key, XKB_KEY_DOWN);
    return static_cast<std::uint16_t>(
        xkb_state_serialize_mods(state.get(), XKB_STATE_MODS_EFFECTIVE) & coreModifiers);
}

} // namespace

std::optional<xkb_keysym_t> hotKeySymbol(std::uint32_t virtualKeyCode) {
    switch (virtualKeyCode) {
    case 49:
        return XKB_KEY_space;
    case 46:
        return XKB_KEY_m;
    case 17:
        return XKB_KEY_t;
    default:
        return std::nullopt;
    }
}

std::optional<HotKeyPosition> hotKeyPosition(xkb_keymap* keymap, xkb_layout_index_t layout,
                                             std::uint32_t virtualKeyCode,
                                             std::uint32_t carbonModifiers) {
    struct Modifier {
        std::uint32_t bit;
        xkb_keysym_t symbol;
    };
    constexpr Modifier modifiers[] = {{commandModifier, XKB_KEY_Super_L},
                                      {optionModifier, XKB_KEY_Alt_L},
                                      {shiftModifier, XKB_KEY_Shift_L},
                                      {controlModifier, XKB_KEY_Control_L}};
    const auto symbol = hotKeySymbol(virtualKeyCode);
    const auto key = symbol ? keyWithInAnyLayout(keymap, layout, *symbol) : std::nullopt;
    if (!key)
        return std::nullopt;
    HotKeyPosition position{static_cast<std::uint8_t>(*key), 0};
    for (const Modifier& modifier : modifiers) {
        if ((carbonModifiers & modifier.bit) == 0)
            continue;
        const std::uint16_t mask = modifiersOf(keymap, modifier.symbol);
        // Two modifiers on one bit could not be told apart.
        if (mask == 0 || (position.modifiers & mask) != 0)
            return std::nullopt;
        position.modifiers |= mask;
    }
    return position;
}

std::uint16_t lockModifiers(xkb_keymap* keymap) {
    std::uint16_t locks = 1U << 1; // the core protocol's own Lock
    for (const xkb_keysym_t lock : {XKB_KEY_Num_Lock, XKB_KEY_Scroll_Lock})
        locks |= modifiersOf(keymap, lock);
    return locks;
}

} // namespace morvel
