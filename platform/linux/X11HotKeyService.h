// System-wide shortcuts by key grabs on the root window, found through the session's keymap and
// moved along with it.
//
// What the server answers becomes Carbon's status: BadAccess, some other client has grabbed the key
// with one of the lock states, is eventHotKeyExistsErr (-9878); a key or modifier that is not in
// the keymap is eventHotKeyInvalidErr (-9879); a server that has gone away or lacks XKB is
// eventInternalErr (-9868).
//
// Presses are delivered on the main thread. Raw events go on reaching their listeners meanwhile.
#pragma once

#include "platform/HotKeyService.h"
#include "platform/Scheduler.h"
#include "platform/linux/HotKeyLayout.h"
#include "platform/linux/X11Connection.h"

#include <bitset>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>

namespace morvel {

class X11HotKeyService : public HotKeyService {
public:
    // Both must outlive the service. The connection is not the key tap's: its keyboard events are
    // selected here.
    X11HotKeyService(X11Connection& connection, Scheduler& scheduler);
    ~X11HotKeyService() override;
    X11HotKeyService(const X11HotKeyService&) = delete;
    X11HotKeyService& operator=(const X11HotKeyService&) = delete;

    HotKeyStatus installHandler(Handler handler) override;
    Result<HotKeyReference, HotKeyStatus> registerHotKey(std::uint32_t keyCode,
                                                         std::uint32_t modifiers,
                                                         HotKeyIdentifier identifier) override;
    void unregisterHotKey(HotKeyReference reference) override;

private:
    struct ContextDeleter {
        void operator()(xkb_context* context) const { xkb_context_unref(context); }
    };
    struct KeymapDeleter {
        void operator()(xkb_keymap* keymap) const { xkb_keymap_unref(keymap); }
    };
    struct Registration {
        std::uint32_t keyCode;
        std::uint32_t modifiers;
        HotKeyIdentifier identifier;
        std::optional<HotKeyPosition> grabbed; // nothing while the keymap or another client forbids
        std::uint16_t locks = 0;               // that it was grabbed with
    };

    bool setUp();
    bool readKeymap();
    void readLayout();
    HotKeyStatus grab(Registration& registration);
    void ungrab(Registration& registration);
    void follow();
    void followLater();

    void handle(const xcb_generic_event_t& event);
    void keyPressed(std::uint8_t key, std::uint16_t state);

    X11Connection& connection_;
    Scheduler& scheduler_;
    std::unique_ptr<xkb_context, ContextDeleter> context_;
    std::unique_ptr<xkb_keymap, KeymapDeleter> keymap_; // null: there is no XKB to be had
    std::uint8_t keyboardEventBase_ = 0;
    std::int32_t coreKeyboard_ = -1;
    xkb_layout_index_t layout_ = 0;
    Handler handler_;
    std::map<std::uint32_t, Registration> registrations_; // by the reference's number
    std::uint32_t nextNumber_ = 1;
    std::bitset<256> held_;
    bool keymapChanged_ = false;
    std::shared_ptr<bool> following_ = std::make_shared<bool>(false); // one is queued
    std::unique_ptr<X11Connection::Observation> observation_;
};

} // namespace morvel
