// One keyboard that is open for reading: the keys and the Caps Lock light, nothing else it has.
//
// It is only listened to: everybody else goes on hearing it. A program that takes the keyboard for
// itself, as those that give keys new meanings do, silences this; what it types in its place comes
// from a keyboard of its own. Closed when destroyed, which may happen in its own handler. Needs a
// QCoreApplication; main thread.
#pragma once

#include "platform/linux/Descriptor.h"
#include "platform/linux/Handle.h"

#include <libevdev/libevdev.h>

#include <QSocketNotifier>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace morvel {

class EvdevKeyboard {
public:
    struct Event {
        enum class Kind : std::uint8_t { key, capsLockLight };

        Kind kind;
        std::uint32_t code;           // of a key: evdev's
        int value;                    // 0 up or off, 1 down or on, 2 repeated
        bool missed;                  // happened at some time before and was not heard of
        std::uint64_t timestampNanos; // CLOCK_MONOTONIC; 0 when not known
    };

    // Null when it cannot be read. `readable` is called from the main run loop when there is
    // something to read, or no longer a keyboard.
    static std::unique_ptr<EvdevKeyboard> open(const std::string& path,
                                               std::function<void()> readable);

    EvdevKeyboard(const EvdevKeyboard&) = delete;
    EvdevKeyboard& operator=(const EvdevKeyboard&) = delete;

    // The next event, or nothing when there is none at the moment. Where more has happened than
    // the kernel kept, what is different afterwards comes as events that were missed.
    std::optional<Event> next();

    // True once the keyboard has gone away or is no longer ours to read; then for good.
    bool isGone() const { return gone_; }

    // By the kernel's own word, as of the last event read.
    bool isDown(std::uint32_t code) const;
    // Nothing when it has no such light.
    std::optional<bool> capsLockLight() const;

private:
    using Device = Handle<libevdev, libevdev_free>;

    EvdevKeyboard(Descriptor file, Device device, std::function<void()> readable);

    const Descriptor file_;
    const Device device_;
    bool stamped_ = false;
    bool catchingUp_ = false;
    bool gone_ = false;
    QSocketNotifier notifier_;
};

} // namespace morvel
