// Which sound, if any, a keyboard event makes. Pure: any thread, constant time, no allocation.
#pragma once

#include "sound/SoundCategory.h"

#include <cstdint>
#include <optional>

namespace morvel {

// The group of an ordinary key; nothing for a key code that is in none of the named groups (it
// sounds as alpha).
std::optional<KeyGroup> namedKeyGroup(std::int64_t keyCode);

// The group of a modifier key; nothing for Fn, which has a flag but sounds as alpha, and for any
// other key.
std::optional<KeyGroup> modifierGroup(std::int64_t keyCode);

// `type`, `keyCode` and `flags` as in KeyEvent. Nothing for an event that makes no sound.
std::optional<SoundCategory> classify(std::uint32_t type, std::int64_t keyCode,
                                      std::uint64_t flags);

} // namespace morvel
