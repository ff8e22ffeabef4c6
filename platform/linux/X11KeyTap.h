// The tap of an X11 session: XInput2 raw events, which reach every client whatever has the focus or
// a grab, read through the session's own keymap.
//
// The X server never switches such a tap off, so the listener's tapDisabled() is never called and
// enable() has nothing to do.
#pragma once

#include "platform/Clock.h"
#include "platform/KeyTap.h"
#include "platform/TrustSource.h"
#include "platform/linux/KeyEventTranslator.h"
#include "platform/linux/X11Connection.h"

#include <xkbcommon/xkbcommon.h>

#include <cstdint>
#include <memory>

namespace morvel {

class X11KeyTap : public KeyTap {
public:
    // Both must outlive the tap. The connection is the tap's own: it carries what is typed, and its
    // events are selected anew with every install() and remove().
    X11KeyTap(X11Connection& connection, const Clock& clock);
    ~X11KeyTap() override;
    X11KeyTap(const X11KeyTap&) = delete;
    X11KeyTap& operator=(const X11KeyTap&) = delete;

    // False when the server has gone away or lacks XInput 2.2 or XKB.
    bool install(Listener& listener) override;
    void enable() override {}
    void remove() override;

private:
    struct ContextDeleter {
        void operator()(xkb_context* context) const { xkb_context_unref(context); }
    };
    struct KeymapDeleter {
        void operator()(xkb_keymap* keymap) const { xkb_keymap_unref(keymap); }
    };

    bool setUpExtensions();
    bool selectEvents(bool wanted);
    bool readKeymap();
    void readState();
    void useLayout(xkb_layout_index_t layout);

    void handle(const xcb_generic_event_t& event);
    void handleRawKey(const xcb_generic_event_t& event, bool pressed);
    void handleHierarchy(const xcb_generic_event_t& event);
    void handleKeyboardEvent(const xcb_generic_event_t& event);
    void deliver(const std::optional<KeyEvent>& event);

    // X11 stamps events with the low 32 bits of the host clock in milliseconds. Answers 0 for a
    // stamp that cannot be on this host's clock (a server on another machine).
    std::uint64_t hostNanos(std::uint32_t serverMilliseconds) const;

    X11Connection& connection_;
    const Clock& clock_;
    std::unique_ptr<xkb_context, ContextDeleter> context_;
    std::unique_ptr<xkb_keymap, KeymapDeleter> keymap_;
    KeyEventTranslator translator_;
    Listener* listener_ = nullptr;
    std::unique_ptr<X11Connection::Observation> observation_;
    std::uint8_t inputOpcode_ = 0;
    std::uint8_t keyboardEventBase_ = 0;
    std::int32_t coreKeyboard_ = -1;
    std::uint32_t capsLockMask_ = 0;
    xkb_layout_index_t layout_ = 0;
    bool keymapChanged_ = false;
};

// Trust on an X11 session: the server is there and has the XInput version that the tap needs.
class X11TrustSource : public TrustSource {
public:
    // `connection` may be null (no server) and must outlive the source.
    explicit X11TrustSource(X11Connection* connection);

    bool isTrusted() override;
    bool prompt() override { return isTrusted(); }

private:
    X11Connection* connection_;
    bool hasRawEvents_;
};

} // namespace morvel
