#include "platform/macos/EventKeyPoster.h"

#include "platform/macos/CfObjects.h"

namespace morvel {

EventKeyPoster::~EventKeyPoster() {
    for (std::size_t key = 0; key < keyCodes; ++key)
        if (down_[key])
            EventKeyPoster::post(static_cast<std::int64_t>(key), Motion::up);
}

bool EventKeyPoster::post(std::int64_t keyCode, Motion motion) {
    if (keyCode < 0 || keyCode >= static_cast<std::int64_t>(keyCodes))
        return false;
    const auto key = static_cast<std::size_t>(keyCode);
    if (down_[key] != (motion != Motion::down))
        return false;
    const CfOwned event(
        CGEventCreateKeyboardEvent(nullptr, static_cast<CGKeyCode>(key), motion != Motion::up));
    if (!event)
        return false;
    if (motion == Motion::repeat)
        CGEventSetIntegerValueField(event.get(), kCGKeyboardEventAutorepeat, 1);
    CGEventPost(kCGHIDEventTap, event.get());
    down_[key] = motion != Motion::up;
    return true;
}

} // namespace morvel
