// Key events as the hardware makes them. Posting needs the Accessibility permission.
#pragma once

#include "platform/KeyEventPoster.h"

#include <bitset>

namespace morvel {

class EventKeyPoster : public KeyEventPoster {
public:
    EventKeyPoster() = default;
    ~EventKeyPoster() override;
    EventKeyPoster(const EventKeyPoster&) = delete;
    EventKeyPoster& operator=(const EventKeyPoster&) = delete;

    bool post(std::int64_t keyCode, Motion motion) override;

private:
    static constexpr std::size_t keyCodes = 128;

    std::bitset<keyCodes> down_;
};

} // namespace morvel
