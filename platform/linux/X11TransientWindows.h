// Popovers on X11. The windows that it is given have no window manager above them
// (override-redirect): they appear at once, where they are told to, and take the keyboard whatever
// the window manager thinks of windows that steal it.
//
// Buttons are watched as raw events, not by a grab: the press that closes a popover still does what
// it was meant for, other clients' shortcuts go on working, and it takes no waiting for the grab
// that a panel holds while its button is down.
#pragma once

#include "platform/TransientWindows.h"
#include "platform/linux/X11Connection.h"

#include <cstdint>
#include <memory>

namespace morvel {

class X11TransientWindows : public TransientWindows {
public:
    // Must outlive this and its watches. Not the key tap's connection: raw events are selected
    // here. One watch at a time.
    explicit X11TransientWindows(X11Connection& connection);

    bool composites() const override;
    bool places() const override { return connection_.alive(); }
    void setShadow(std::uint64_t window, Geometry geometry) override;
    void takeKeyboard(std::uint64_t window) override;
    bool hasKeyboard(std::uint64_t window) const override;
    void returnKeyboard(std::uint64_t window) override;
    std::unique_ptr<PointerWatch> watchButtons(std::function<void(bool down)> changed) override;

private:
    class ButtonWatch;

    xcb_window_t keyboardOwner() const;
    xcb_atom_t atom(const std::string& name) const;

    X11Connection& connection_;
    xcb_atom_t compositorSelection_;
    xcb_window_t previousOwner_ = XCB_NONE; // of the keyboard
};

} // namespace morvel
