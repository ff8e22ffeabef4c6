// The session's keyboards through an event tap, which needs the Accessibility permission.
#pragma once

#include "platform/KeyTap.h"
#include "platform/macos/EventTap.h"

#include <cstdint>
#include <memory>

namespace morvel {

// The code that a key leaves the tap with: its own where the classifier tells it apart, else
// neutralKeyCode. Pure.
std::int64_t tappedKeyCode(std::int64_t keyCode);

class EventTapKeyTap : public KeyTap, private EventTap::Receiver {
public:
    bool install(Listener& listener) override;
    void enable() override;
    void remove() override;

private:
    void tapped(std::uint32_t type, void* event) override;
    void tapDisabled(TapDisabledReason reason) override;

    Listener* listener_ = nullptr;
    std::unique_ptr<EventTap> tap_; // none while not installed
};

} // namespace morvel
