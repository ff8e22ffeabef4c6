// Key events in an X11 session, through the XTEST extension. The one key it has is F13.
#pragma once

#include "platform/KeyEventPoster.h"
#include "platform/linux/X11Connection.h"

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace morvel {

// The keys of a server as the core protocol tells them.
struct X11KeySymbols {
    std::uint8_t firstKey = 8;
    std::size_t symbolsPerKey = 0;
    std::span<const xcb_keysym_t> symbols; // symbolsPerKey for each key from the first on
    std::bitset<256> repeating;            // by hardware key code: the keys that auto-repeat
};

// The hardware key code to post as F13 so that nothing on the desktop reacts: of the key that makes
// the symbol F13, which no desktop binds by itself. Most keymaps have none, since the key where a
// keyboard has its F13 makes a symbol there that starts a program; then of a key that makes no
// symbol at all, which no program can have bound, one that auto-repeats rather than one that does
// not. Only a keymap without any such key is left with the usual place of F13. Pure.
std::optional<std::uint8_t> f13HardwareKey(const X11KeySymbols& keys);

class X11KeyEventPoster : public KeyEventPoster {
public:
    // The connection must outlive the poster.
    explicit X11KeyEventPoster(X11Connection& connection)
        : connection_(connection) {}
    ~X11KeyEventPoster() override;
    X11KeyEventPoster(const X11KeyEventPoster&) = delete;
    X11KeyEventPoster& operator=(const X11KeyEventPoster&) = delete;

    // False also for a repeat while the user has auto-repeat switched off, for a server without
    // XTEST and for one that has gone away.
    bool post(std::int64_t keyCode, Motion motion) override;

private:
    bool press();
    bool repeat();
    bool release();
    bool send(std::uint8_t type, std::uint8_t key);

    X11Connection& connection_;
    std::optional<std::uint8_t> held_; // hardware key code
};

} // namespace morvel
