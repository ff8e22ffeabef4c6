// System-wide keyboard shortcuts. Adapters: platform/linux (X11, the desktop portal, evdev),
// platform/macos (Carbon), platform/simulated.
//
// The status numbers are the ones that Carbon's hot key service answers with; an adapter translates
// its system's refusals into them.
#pragma once

#include "platform/Result.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace morvel {

using HotKeyStatus = std::int32_t;

inline constexpr HotKeyStatus hotKeyNoErr = 0;
inline constexpr HotKeyStatus eventInternalErr = -9868;      // the system is not there to ask
inline constexpr HotKeyStatus eventNotHandledErr = -9874;    // the press is none of the handler's
inline constexpr HotKeyStatus eventHotKeyExistsErr = -9878;  // somebody else has the shortcut
inline constexpr HotKeyStatus eventHotKeyInvalidErr = -9879; // there is no such key or modifier

// Bits of a modifier mask.
inline constexpr std::uint32_t commandModifier = 0x100;
inline constexpr std::uint32_t shiftModifier = 0x200;
inline constexpr std::uint32_t optionModifier = 0x800;
inline constexpr std::uint32_t controlModifier = 0x1000;

// What the owner of a hot key tells its presses apart by.
struct HotKeyIdentifier {
    std::uint32_t signature = 0; // four characters as a big-endian number
    std::uint32_t id = 0;

    bool operator==(const HotKeyIdentifier&) const = default;
};

// A registration, until it is given up.
struct HotKeyReference {
    std::uint32_t number = 0;

    bool operator==(const HotKeyReference&) const = default;
};

// How presses reach the program, for its user to know.
struct HotKeyDelivery {
    enum class Way : std::uint8_t {
        claimed,   // the keys are the program's alone
        desktop,   // the desktop listens, for whatever keys its user has given the shortcut
        keyboards, // the program looks for the keys in what is typed; others get them, too
        asking,    // the desktop has not answered yet
        deciding,  // nor has its user, before whom it has put the question
        declined,  // the user does not want the shortcut
        none,      // not at present
    };
    Way way = Way::claimed;
    std::string keys; // the desktop's own words for its keys, in UTF-8; empty where it told none

    bool operator==(const HotKeyDelivery&) const = default;
};

class HotKeyService {
public:
    // Answers hotKeyNoErr when the press was its own, else eventNotHandledErr. Gets nothing where
    // the press came without an identifier. May be called on any thread.
    using Handler = std::function<HotKeyStatus(const std::optional<HotKeyIdentifier>&)>;

    virtual ~HotKeyService() = default;

    // Takes the one handler of all presses, for good. Answers hotKeyNoErr, or why there will be no
    // presses; it may then be tried again. Main thread.
    virtual HotKeyStatus installHandler(Handler handler) = 0;

    // Claims the key with this virtual key code together with exactly these modifiers, whatever
    // has the keyboard. Holding the key is one press. Where the system answers later, or where it
    // depends on what comes and goes, delivery() tells what has become of it. Main thread.
    virtual Result<HotKeyReference, HotKeyStatus>
    registerHotKey(std::uint32_t keyCode, std::uint32_t modifiers, HotKeyIdentifier identifier) = 0;

    // Gives the shortcut back to others. Unknown references are ignored. Main thread.
    virtual void unregisterHotKey(HotKeyReference reference) = 0;

    // How the presses of what is registered come. Main thread.
    virtual HotKeyDelivery delivery() const { return {}; }

    // The handler is called on the main thread when delivery() may have become another one, from
    // within a call of the above, too. Null: nobody wants to know. Main thread.
    virtual void setDeliveryHandler(const std::function<void()>& /*changed*/) {}
};

} // namespace morvel
