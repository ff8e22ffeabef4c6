#include "keyboard/Classification.h"

#include "platform/KeyTap.h"

namespace morvel {

std::optional<KeyGroup> namedKeyGroup(std::int64_t keyCode) {
    switch (keyCode) {
    case 49:
        return KeyGroup::space;
    case 36: // Return
    case 76: // keypad Enter
        return KeyGroup::enter;
    case 48:
        return KeyGroup::tab;
    case 51:  // Delete (backspace)
    case 117: // Forward Delete
        return KeyGroup::delete_;
    case 53:
        return KeyGroup::escape;
    default:
        return std::nullopt;
    }
}

std::optional<KeyGroup> modifierGroup(std::int64_t keyCode) {
    switch (keyCode) {
    case 59:
    case 62:
        return KeyGroup::control;
    case 56:
    case 60:
        return KeyGroup::shift;
    case 55:
    case 54:
        return KeyGroup::command;
    case 58:
    case 61:
        return KeyGroup::option;
    case 57:
        return KeyGroup::capsLock;
    default:
        return std::nullopt;
    }
}

std::optional<SoundCategory> classify(std::uint32_t type, std::int64_t keyCode,
                                      std::uint64_t flags) {
    switch (type) {
    case keyDownEventType:
        return category(namedKeyGroup(keyCode).value_or(KeyGroup::alpha), KeyEdge::down);
    case keyUpEventType:
        return category(namedKeyGroup(keyCode).value_or(KeyGroup::alpha), KeyEdge::up);
    case flagsChangedEventType: {
        const std::uint64_t mask = modifierFlag(keyCode);
        if (mask == 0)
            return std::nullopt;
        const KeyEdge edge = (flags & mask) != 0 ? KeyEdge::down : KeyEdge::up;
        return category(modifierGroup(keyCode).value_or(KeyGroup::alpha), edge);
    }
    default:
        return std::nullopt;
    }
}

} // namespace morvel
