// A small window that appears beside something on screen and goes when it is no longer wanted.
// Main thread.
#pragma once

#include <QRect>
#include <functional>
#include <optional>

namespace morvel {

class Popover {
public:
    virtual ~Popover() = default;

    // From show() until it has closed, its closing animation included.
    virtual bool isShown() const = 0;

    // Shows it below `anchor` (in points of the whole desktop; without one, in the corner of the
    // screen where panels have their trays), in front of everything and with the keyboard. It
    // closes by itself on a press elsewhere, on Escape and when the keyboard goes elsewhere.
    // While it is closing it opens again where it is; while it is open nothing happens.
    // Where windows cannot be placed it is a window as of showAsWindow(), which closes as well when
    // the keyboard goes elsewhere after the pointer or a key was in it.
    virtual void show(const std::optional<QRect>& anchor) = 0;

    // Shows it as a normal window, which closes on Escape and by its close button. While it is
    // shown already, it comes to the front.
    virtual void showAsWindow() = 0;

    // Begins to close; it has closed when the animation is over and, if a press elsewhere closed
    // it, the button is up again: whatever that press does comes after.
    virtual void close() = 0;

    // Called each time it has closed.
    virtual void setDidClose(std::function<void()> didClose) = 0;
};

} // namespace morvel
