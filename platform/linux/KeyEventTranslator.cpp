#include "platform/linux/KeyEventTranslator.h"

#include <algorithm>

namespace morvel {

KeyEventTranslator::KeyEventTranslator() {
    table_.fill(neutralKeyCode);
    // Room for every keyboard of an ordinary machine, so that no key press allocates.
    devices_.reserve(32);
}

void KeyEventTranslator::setTable(const VirtualKeyCodeTable& table) {
    table_ = table;
}

KeyEventTranslator::Device& KeyEventTranslator::device(std::uint32_t id) {
    const auto found =
        std::find_if(devices_.begin(), devices_.end(), [id](auto& d) { return d.id == id; });
    if (found != devices_.end())
        return *found;
    devices_.push_back(Device{id, {}, {}});
    return devices_.back();
}

std::uint64_t KeyEventTranslator::flags() const {
    std::uint64_t flags = capsLocked_ ? modifierFlag(capsLockKeyCode) : 0;
    for (const Device& device : devices_)
        if (device.held.any())
            for (std::size_t code = 0; code < hardwareCodes; ++code)
                if (device.held[code])
                    flags |= modifierFlag(device.meaning[code]);
    return flags;
}

std::optional<KeyEvent> KeyEventTranslator::key(const KeyMotion& motion) {
    if (motion.hardware >= hardwareCodes)
        return std::nullopt;
    Device& from = device(motion.device);
    const bool wasHeld = from.held[motion.hardware];
    if (motion.pressed && !wasHeld)
        from.meaning[motion.hardware] = table_[motion.hardware];
    const std::int64_t code =
        motion.pressed || wasHeld ? from.meaning[motion.hardware] : table_[motion.hardware];
    from.held[motion.hardware] = motion.pressed;

    if (code == capsLockKeyCode)
        return std::nullopt;
    const bool repeated = motion.pressed && (wasHeld || motion.repeated);
    if (isModifierKeyCode(code)) {
        if (repeated)
            return std::nullopt;
        // The bit of the key itself tells its own motion, whatever a twin on another keyboard does.
        const std::uint64_t others = flags() & ~modifierFlag(code);
        return KeyEvent{flagsChangedEventType, code,
                        others | (motion.pressed ? modifierFlag(code) : 0), 0,
                        motion.timestampNanos};
    }
    return KeyEvent{motion.pressed ? keyDownEventType : keyUpEventType, code, flags(),
                    repeated ? 1 : 0, motion.timestampNanos};
}

std::optional<KeyEvent> KeyEventTranslator::capsLock(bool locked, std::uint64_t timestampNanos) {
    if (locked == capsLocked_)
        return std::nullopt;
    capsLocked_ = locked;
    return KeyEvent{flagsChangedEventType, capsLockKeyCode, flags(), 0, timestampNanos};
}

bool KeyEventTranslator::holds(std::uint32_t device, std::uint32_t hardware) const {
    const auto found = std::find_if(devices_.begin(), devices_.end(),
                                    [device](const Device& d) { return d.id == device; });
    return found != devices_.end() && hardware < hardwareCodes && found->held[hardware];
}

std::bitset<256> KeyEventTranslator::held() const {
    std::bitset<hardwareCodes> keys;
    for (const Device& device : devices_)
        keys |= device.held;
    return keys;
}

void KeyEventTranslator::forgetDevice(std::uint32_t device) {
    std::erase_if(devices_, [device](const Device& d) { return d.id == device; });
}

} // namespace morvel
