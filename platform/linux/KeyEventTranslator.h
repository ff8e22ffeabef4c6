// From what keyboards do to neutral key events: held keys, side-specific flags, auto-repeat, the
// Caps Lock state. One instance a tap; main thread. Knows hardware key codes only while a key is
// held, and hands none of them on.
#pragma once

#include "platform/KeyTap.h"
#include "platform/linux/VirtualKeyCodes.h"

#include <bitset>
#include <cstdint>
#include <optional>
#include <vector>

namespace morvel {

class KeyEventTranslator {
public:
    struct KeyMotion {
        std::uint32_t device;   // which keyboard
        std::uint32_t hardware; // hardware key code, 0 to 255; others are ignored
        bool pressed;
        bool repeated; // the system itself says that this is an auto-repeat
        std::uint64_t timestampNanos;
    };

    KeyEventTranslator();

    // Takes effect with the next motion; a held modifier keeps the meaning it was pressed with.
    void setTable(const VirtualKeyCodeTable& table);

    // The key event of a motion; nothing for a motion that makes none: a repeated modifier, a Caps
    // Lock key (its lock state speaks for it).
    std::optional<KeyEvent> key(const KeyMotion& motion);

    // The event of a change of the Caps Lock state; nothing when it is what it was.
    std::optional<KeyEvent> capsLock(bool locked, std::uint64_t timestampNanos);

    // Takes over a lock state that was there before, without an event.
    void assumeCapsLock(bool locked) { capsLocked_ = locked; }

    bool capsLocked() const { return capsLocked_; }

    // Whether this key of this keyboard is down.
    bool holds(std::uint32_t device, std::uint32_t hardware) const;

    // The keys that are down on any keyboard.
    std::bitset<256> held() const;

    // The keyboard is gone: none of its keys is held any more.
    void forgetDevice(std::uint32_t device);

    static constexpr std::size_t hardwareCodes = 256;

private:
    struct Device {
        std::uint32_t id;
        std::bitset<hardwareCodes> held;
        VirtualKeyCodeTable meaning; // of the held keys, as of their press
    };

    Device& device(std::uint32_t id);
    std::uint64_t flags() const;

    VirtualKeyCodeTable table_;
    std::vector<Device> devices_;
    bool capsLocked_ = false;
};

} // namespace morvel
