// The tap of a session without an X server to ask, Wayland's and the console's: the keyboards
// themselves, as far as this user may read them.
//
// The keymap is the system's (SystemKeymap says what that means). Caps Lock goes by the light that
// the session puts on at every keyboard that has one; where none has, by what the keymap makes of
// the key. A Caps Lock key that the light does not answer to is an ordinary key, late the first
// time, until the light answers after all. The kernel never switches such a tap off, so the
// listener's tapDisabled() is never called and enable() has nothing to do.
#pragma once

#include "platform/KeyTap.h"
#include "platform/Log.h"
#include "platform/Scheduler.h"
#include "platform/TrustSource.h"
#include "platform/linux/CapsLockWatch.h"
#include "platform/linux/EvdevKeyboards.h"
#include "platform/linux/KeyEventTranslator.h"
#include "platform/linux/KeyboardNodes.h"
#include "platform/linux/KeymapSettings.h"
#include "platform/linux/SystemKeymap.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace morvel {

class EvdevKeyTap : public KeyTap, private EvdevKeyboards::Listener {
public:
    struct Services {
        KeymapSettings& keymap; // the tap takes its change handler
        Scheduler& scheduler;
        Log& log;
    };

    // `keyboards` and the services must outlive the tap.
    EvdevKeyTap(EvdevKeyboards& keyboards, Services services);
    ~EvdevKeyTap() override;
    EvdevKeyTap(const EvdevKeyTap&) = delete;
    EvdevKeyTap& operator=(const EvdevKeyTap&) = delete;

    // False without any keymap, and when there are keyboards and none may be read. Keys of a
    // keyboard that goes are let go with no event of that.
    bool install(KeyTap::Listener& listener) override;
    void enable() override {}
    void remove() override;

private:
    void opened(std::uint32_t id, const EvdevKeyboard& keyboard) override;
    void closed(std::uint32_t id) override;
    void event(std::uint32_t id, const EvdevKeyboard::Event& event) override;

    void key(std::uint32_t id, const EvdevKeyboard::Event& event);
    void capsLock(bool locked, const EvdevKeyboard::Event& event);
    void followKeymap(std::uint32_t hardware, bool pressed, const EvdevKeyboard::Event& event);
    bool loadKeymap();
    void reloadKeymap();
    void useTable();
    void watchCapsLock(std::uint32_t id, std::uint32_t hardware, bool pressed);
    void soundAsOrdinary();
    void light(bool on, const EvdevKeyboard::Event& event);
    void deliver(const std::optional<KeyEvent>& event, bool missed);

    EvdevKeyboards& keyboards_;
    const Services services_;
    std::unique_ptr<SystemKeymap> keymap_;
    VirtualKeyCodeTable table_{}; // the keymap's
    CapsLockWatch capsLockWatch_;
    KeyEventTranslator::KeyMotion capsLockPress_{}; // the last
    bool capsLockIsOrdinary_ = false;
    KeyEventTranslator translator_;
    std::vector<std::uint32_t> lights_; // the keyboards that have one
    bool wasLocked_ = false;            // when the last of them went
    std::unique_ptr<Timer> restoring_;  // since they are back, where it was
    KeyTap::Listener* listener_ = nullptr;
    std::unique_ptr<EvdevKeyboards::Listening> listening_;
};

// Trust in such a session: at least one keyboard can be read. While there is no keyboard at all it
// is what it was: one that is plugged out takes no permission along, nor does another session that
// has the keyboards for a while. A gamepad that one can also type on counts only where there is
// nothing else, as systems let everybody at the machine read gamepads.
class EvdevTrustSource : public TrustSource {
public:
    // `keyboards` must outlive the source. `ask` asks the system for permission; it must not block,
    // and what comes of it is seen later.
    EvdevTrustSource(KeyboardNodes& keyboards, std::function<void()> ask)
        : keyboards_(keyboards)
        , ask_(std::move(ask)) {}

    // One system call a keyboard; tells a tap what has changed.
    bool isTrusted() override;
    bool prompt() override;

private:
    KeyboardNodes& keyboards_;
    const std::function<void()> ask_;
    bool trusted_ = false;
};

} // namespace morvel
