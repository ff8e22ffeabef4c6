// The keymap of the system, for where no display server tells the session's own.
//
// A Wayland session tells its layout and options only to windows, and to those only while they have
// the keyboard. So this is the keymap that the machine is set to, which desktops begin with, or
// that XKB's own defaults give; each of the environment's XKB_DEFAULT_RULES, _MODEL, _LAYOUT (with
// _VARIANT) and _OPTIONS comes first. A choice that was made in a desktop's settings alone is not
// seen. It matters to modifiers, named keys and the letter of a shortcut only: all others are one
// and the same key.
//
// Main thread. Knows which keys are down only as far as XKB needs it for its modifiers.
#pragma once

#include "platform/linux/Handle.h"
#include "platform/linux/HotKeyLayout.h"
#include "platform/linux/KeymapSettings.h"
#include "platform/linux/VirtualKeyCodes.h"

#include <xkbcommon/xkbcommon.h>

#include <cstdint>
#include <memory>
#include <optional>

namespace morvel {

class SystemKeymap {
public:
    // `system` is what the machine is set to. Where XKB knows no such keymap it is the US one; null
    // only when XKB's data is not there at all.
    static std::unique_ptr<SystemKeymap> load(const KeymapNames& system = {});

    // Whether it stands in for one that XKB does not know.
    bool isStandIn() const { return standsIn_; }

    // With the layout that is in effect.
    VirtualKeyCodeTable table() const;

    // Where a shortcut is, with that layout; nothing for one that the keymap lacks a key of.
    std::optional<HotKeyPosition> hotKey(std::uint32_t virtualKeyCode,
                                         std::uint32_t carbonModifiers) const;
    // Whether its modifiers are held, and no others but those that are locks.
    bool holdsModifiersOf(const HotKeyPosition& hotKey) const;

    struct Change {
        bool layout = false;   // another one is in effect
        bool capsLock = false; // it is locked, or it no longer is
    };

    // A key went down or up. Hardware codes are XKB's: evdev's and 8 more.
    Change key(std::uint32_t hardware, bool pressed);

private:
    using Context = Handle<xkb_context, xkb_context_unref>;
    using Keymap = Handle<xkb_keymap, xkb_keymap_unref>;
    using State = Handle<xkb_state, xkb_state_unref>;

    SystemKeymap(Context context, Keymap keymap, State state, bool standsIn);
    bool capsLocked() const;
    xkb_layout_index_t layout() const;

    const Context context_;
    const Keymap keymap_;
    const State state_;
    const std::uint16_t locks_;
    const bool standsIn_;
};

} // namespace morvel
