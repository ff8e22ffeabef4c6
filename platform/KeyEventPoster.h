// Makes key events as a keyboard would, so that they take the whole way through the session and its
// taps. Adapters: platform/linux (X11), platform/macos, platform/simulated (a simulated tap).
#pragma once

#include <cstdint>

namespace morvel {

// F13: a key that the classifier does not tell apart and that hardly any keyboard has.
inline constexpr std::int64_t f13KeyCode = 105;

class KeyEventPoster {
public:
    enum class Motion : std::uint8_t {
        down,
        repeat, // a key down with auto-repeat; exists only of a key that is down
        up,
    };

    // Lets go of every key that is still down.
    virtual ~KeyEventPoster() = default;

    // Posts one event of the key with this virtual key code; taps see it in a later turn of the
    // main run loop, and as the key that an adapter has chosen for the code. Answers false, with
    // nothing posted, when the event cannot be created: the system refuses, it has no such key, or
    // the motion does not follow from where posted motions have left the key. Main thread; waits
    // for the system's answer.
    virtual bool post(std::int64_t keyCode, Motion motion) = 0;
};

// For a session that takes no key events from a program.
class NoKeyEventPoster : public KeyEventPoster {
public:
    bool post(std::int64_t, Motion) override { return false; }
};

} // namespace morvel
