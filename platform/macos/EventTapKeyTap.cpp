#include "platform/macos/EventTapKeyTap.h"

#include "platform/macos/Frameworks.h"

namespace morvel {

namespace {

constexpr std::uint64_t keyEvents = std::uint64_t{1} << keyDownEventType |
                                    std::uint64_t{1} << keyUpEventType |
                                    std::uint64_t{1} << flagsChangedEventType;

} // namespace

std::int64_t tappedKeyCode(std::int64_t keyCode) {
    switch (keyCode) {
    case 36:  // Return
    case 48:  // Tab
    case 49:  // Space
    case 51:  // Delete
    case 53:  // Escape
    case 76:  // keypad Enter
    case 117: // Forward Delete
        return keyCode;
    default:
        return modifierFlag(keyCode) != 0 ? keyCode : neutralKeyCode;
    }
}

bool EventTapKeyTap::install(Listener& listener) {
    listener_ = &listener;
    tap_ = EventTap::create(keyEvents, *this);
    return tap_ != nullptr;
}

void EventTapKeyTap::enable() {
    if (tap_)
        tap_->enable();
}

void EventTapKeyTap::remove() {
    tap_.reset();
}

// The flags of keys that are typed tell arrows and function keys from others, which nobody is to
// know.
void EventTapKeyTap::tapped(std::uint32_t type, void* event) {
    auto* const key = static_cast<CGEventRef>(event);
    listener_->keyEvent(
        {type, tappedKeyCode(CGEventGetIntegerValueField(key, kCGKeyboardEventKeycode)),
         type == flagsChangedEventType ? std::uint64_t{CGEventGetFlags(key)} : 0,
         CGEventGetIntegerValueField(key, kCGKeyboardEventAutorepeat), CGEventGetTimestamp(key)});
}

void EventTapKeyTap::tapDisabled(TapDisabledReason reason) {
    listener_->tapDisabled(reason);
}

} // namespace morvel
