// Which sound, if any, a keyboard event makes. Pure: any thread, constant time, no allocation.
#pragma once

#include "sound/SoundCategory.h"

#include <cstdint>
#include <optional>

namespace morvel {

// The group of an ordinary key; nothing for a key code that is in none of the named groups (it
// sounds as alpha).
std::optional<KeyGroup> namedKeyGroup(std::int64_t keyCode);

// The flag bit that is set while the modifier key with this code is down, side by side for the two
// keys of a pair; for Caps Lock the lock's state bit. 0 for any other key.
std::uint64_t modifierMask(std::int64_t keyCode);

// The group of a modifier key; nothing for Fn, which has a mask but sounds as alpha, and for any
// other key.
std::optional<KeyGroup> modifierGroup(std::int64_t keyCode);

// `type`, `keyCode` and `flags` as in KeyEvent. Nothing for an event that makes no sound.
std::optional<SoundCategory> classify(std::uint32_t type, std::int64_t keyCode,
                                      std::uint64_t flags);

} // namespace morvel
