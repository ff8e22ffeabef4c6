// A listen-only tap of the session's events, on the main run loop. Main thread.
#pragma once

#include "platform/KeyTap.h"

#include <cstdint>
#include <memory>

namespace morvel {

class EventTap {
public:
    // Called on the main thread. `event` is the system's and lives as long as the call.
    class Receiver {
    public:
        virtual ~Receiver() = default;
        virtual void tapped(std::uint32_t type, void* event) = 0;
        virtual void tapDisabled(TapDisabledReason reason) = 0;
    };

    // Taps the events whose types' bits are set in `mask`, which pass on unchanged. Null where the
    // system refuses. `receiver` must outlive the tap.
    static std::unique_ptr<EventTap> create(std::uint64_t mask, Receiver& receiver);
    // No event comes any more. May be called while one is being told.
    ~EventTap();
    EventTap(const EventTap&) = delete;
    EventTap& operator=(const EventTap&) = delete;

    // Switches it on again, after the system has switched it off.
    void enable();

private:
    struct Handles;

    explicit EventTap(Receiver& receiver);

    Receiver& receiver_;
    std::unique_ptr<Handles> handles_;
};

} // namespace morvel
