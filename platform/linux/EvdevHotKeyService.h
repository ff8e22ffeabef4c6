// System-wide shortcuts in a session that lets no program claim a key: looked for in what the
// keyboards do, as far as this user may read them.
//
// The keys are only heard, never taken: the program that has the keyboard gets them, too. All
// keyboards of a seat are one, as they are for the session: a modifier that is held on one counts
// for a key of another. Either of a pair of modifiers will do, or both; locks do not matter.
// Repeats are no presses, nor is what was missed. The keymap is the system's (SystemKeymap says
// what that means).
//
// A hot key may be registered while no keyboard can be read; it works once one can. Whether the
// key tap is installed makes no difference.
#pragma once

#include "platform/HotKeyService.h"
#include "platform/linux/EvdevKeyboards.h"
#include "platform/linux/KeymapSettings.h"
#include "platform/linux/SystemKeymap.h"

#include <bitset>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>

namespace morvel {

class EvdevHotKeyService : public HotKeyService, private EvdevKeyboards::Listener {
public:
    // `keyboards` and `keymap`, whose change handler the service takes, must outlive it.
    EvdevHotKeyService(EvdevKeyboards& keyboards, KeymapSettings& keymap);
    ~EvdevHotKeyService() override;
    EvdevHotKeyService(const EvdevHotKeyService&) = delete;
    EvdevHotKeyService& operator=(const EvdevHotKeyService&) = delete;

    HotKeyStatus installHandler(Handler handler) override;
    // Keyboards are read from the first registration on. Answers eventInternalErr without a keymap,
    // eventHotKeyInvalidErr for a key or modifier that it lacks.
    Result<HotKeyReference, HotKeyStatus> registerHotKey(std::uint32_t keyCode,
                                                         std::uint32_t modifiers,
                                                         HotKeyIdentifier identifier) override;
    void unregisterHotKey(HotKeyReference reference) override;

    // Way::keyboards while one can be read, else Way::none.
    HotKeyDelivery delivery() const override;
    void setDeliveryHandler(const std::function<void()>& changed) override;

private:
    using Keys = std::bitset<256>;

    struct Registration {
        std::uint32_t keyCode;
        std::uint32_t modifiers;
        HotKeyIdentifier identifier;
        std::optional<HotKeyPosition> position; // in the layout in effect
    };

    void opened(std::uint32_t id, const EvdevKeyboard& keyboard) override;
    void closed(std::uint32_t id) override;
    void event(std::uint32_t id, const EvdevKeyboard::Event& event) override;

    void follow(std::uint32_t hardware, bool pressed);
    void findKeys();
    void reloadKeymap();
    bool isHeld(std::uint32_t hardware) const;
    void pressed(std::uint32_t hardware);
    void tell() const;

    EvdevKeyboards& keyboards_;
    KeymapSettings& settings_;
    Handler handler_;
    std::function<void()> changed_;
    std::unique_ptr<SystemKeymap> keymap_;                // while anything is registered
    std::map<std::uint32_t, Registration> registrations_; // by the reference's number
    std::uint32_t nextNumber_ = 1;
    std::map<std::uint32_t, Keys> held_; // by the keyboard's id
    std::unique_ptr<EvdevKeyboards::Listening> listening_;
};

} // namespace morvel
