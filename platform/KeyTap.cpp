#include "platform/KeyTap.h"

namespace morvel {

std::uint64_t modifierFlag(std::int64_t keyCode) {
    switch (keyCode) {
    case 59: // left Control
        return 0x1;
    case 62: // right Control
        return 0x2000;
    case 56: // left Shift
        return 0x2;
    case 60: // right Shift
        return 0x4;
    case 55: // left Command
        return 0x8;
    case 54: // right Command
        return 0x10;
    case 58: // left Option
        return 0x20;
    case 61: // right Option
        return 0x40;
    case 57: // Caps Lock: the state of the lock, not of the key
        return 0x10000;
    case 63: // Fn
        return 0x800000;
    default:
        return 0;
    }
}

} // namespace morvel
