// Where the keys of a shortcut are in a keymap. Pure.
#pragma once

#include <xkbcommon/xkbcommon.h>

#include <cstdint>
#include <optional>

namespace morvel {

// The hardware key and the core modifiers that X11 knows a shortcut by.
struct HotKeyPosition {
    std::uint8_t key = 0;        // hardware key code, 8 to 255
    std::uint16_t modifiers = 0; // of the eight core ones

    bool operator==(const HotKeyPosition&) const = default;
};

// The position of the key with this virtual key code (space, M and T are known) and of the
// modifiers of a Carbon mask, with the given layout in effect. The key is the one that makes the
// letter in that layout, else in the first that has it, so that a shortcut stays usable under a
// layout without Latin letters. Command is Super and Option is Alt, on whichever core modifiers the
// keymap has them. Nothing for a key or modifier that the keymap lacks.
std::optional<HotKeyPosition> hotKeyPosition(xkb_keymap* keymap, xkb_layout_index_t layout,
                                             std::uint32_t virtualKeyCode,
                                             std::uint32_t carbonModifiers);

// The symbol of the key with this virtual key code, as far as those are known.
std::optional<xkb_keysym_t> hotKeySymbol(std::uint32_t virtualKeyCode);

// The core modifiers that are locks: Caps Lock and, where the keymap has them, Num Lock and Scroll
// Lock.
std::uint16_t lockModifiers(xkb_keymap* keymap);

} // namespace morvel
