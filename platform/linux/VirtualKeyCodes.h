// From the keymap's symbols to the key codes of the neutral key event. Shared by every adapter that
// reads keys through an XKB keymap.
#pragma once

#include "platform/KeyTap.h"

#include <xkbcommon/xkbcommon.h>

#include <array>
#include <cstdint>

namespace morvel {

// The virtual key code of the key whose unshifted symbol is `keysym`; neutralKeyCode for every
// symbol that no group of keys is made of. Pure.
//
// Super, Meta and Hyper are Command: they sit where that key does. AltGr (ISO_Level3_Shift) is the
// right Option.
std::int64_t virtualKeyCode(xkb_keysym_t keysym);

inline constexpr std::int64_t capsLockKeyCode = 57;

// True for the keys that change modifier flags instead of being pressed and released.
bool isModifierKeyCode(std::int64_t virtualKeyCode);

// Hardware key code (8 to 255, as X11 and XKB number them) to virtual key code.
using VirtualKeyCodeTable = std::array<std::int64_t, 256>;

// The table of one keymap with the given layout (group) in effect. A key without that layout
// follows XKB's own rule for the layout it falls back to.
VirtualKeyCodeTable virtualKeyCodeTable(xkb_keymap* keymap, xkb_layout_index_t layout);

} // namespace morvel
