// A listen-only tap of the session's keyboards. Adapters: platform/linux (X11, evdev),
// platform/macos (an event tap), platform/simulated (scripted keys).
#pragma once

#include <cstdint>

namespace morvel {

// The event types of the neutral key event.
inline constexpr std::uint32_t keyDownEventType = 10;
inline constexpr std::uint32_t keyUpEventType = 11;
inline constexpr std::uint32_t flagsChangedEventType = 12;

// The key code of every key that the classifier does not tell apart. All such keys leave an adapter
// with this one code, so that nothing beyond it can hold what was typed. It is the code of the
// first letter key of the classifier's numbering, which it treats as an ordinary key.
inline constexpr std::int64_t neutralKeyCode = 0;

// A key event as the classifier reads it, the same on every system.
struct KeyEvent {
    std::uint32_t type = 0;           // one of the three types above
    std::int64_t keyCode = 0;         // virtual key code, or neutralKeyCode
    std::uint64_t flags = 0;          // side-specific modifier bits and the caps-lock state bit
    std::int64_t autoRepeat = 0;      // non-zero on a repeated key down
    std::uint64_t timestampNanos = 0; // host clock (Clock::hostNanos); 0 when not known
};

// The bit of KeyEvent::flags that is set while the modifier key with this code is down: side by
// side for the two keys of a pair, and for Caps Lock the state of the lock, not of the key. 0 for
// any other key. The bits are the ones that macOS keyboards report.
std::uint64_t modifierFlag(std::int64_t keyCode);

enum class TapDisabledReason : std::uint8_t { timeout, userInput };

class KeyTap {
public:
    // Called on the main thread.
    class Listener {
    public:
        virtual ~Listener() = default;
        virtual void keyEvent(const KeyEvent& event) = 0;
        // The system has switched the tap off; the listener may enable() it again.
        virtual void tapDisabled(TapDisabledReason reason) = 0;
    };

    virtual ~KeyTap() = default;

    // Main thread, all of them. install() answers false when the system refuses; it is called only
    // while not installed. remove() returns with no event under way and none to come.
    virtual bool install(Listener& listener) = 0;
    virtual void enable() = 0;
    virtual void remove() = 0;
};

} // namespace morvel
