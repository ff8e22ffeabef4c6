// What a popover needs of the window system beyond a window of its own. Adapters: platform/linux
// (X11), platform/macos.
//
// Main thread, all of it. Windows are named by the window system's own number. Lengths are device
// pixels.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace morvel {

class TransientWindows {
public:
    // Destroying it ends the watch.
    class PointerWatch {
    public:
        virtual ~PointerWatch() = default;
    };

    struct Geometry {
        int width = 0;
        int height = 0;
        int margin = 0; // of shadow, on every side
    };

    virtual ~TransientWindows() = default;

    // True when windows may be translucent.
    virtual bool composites() const = 0;

    // Whether a window can be put where we want it, unframed, above all others. Where it cannot, a
    // popover is a normal window.
    virtual bool places() const = 0;

    // Before the window is shown: presses on its margin of shadow go to what is below.
    virtual void setShadow(std::uint64_t window, Geometry geometry) = 0;

    // Gives a window that is on screen the keyboard, whatever has it.
    virtual void takeKeyboard(std::uint64_t window) = 0;
    // Whether the window has the keyboard, also while another client's shortcut is held down.
    virtual bool hasKeyboard(std::uint64_t window) const = 0;
    // Before the window is hidden: gives the keyboard back to who had it.
    virtual void returnKeyboard(std::uint64_t window) = 0;

    // Calls `changed` with true when a button of a pointer goes down, anywhere, and with false when
    // it goes up again. Wheels are no buttons. The watch may be destroyed from within `changed`.
    [[nodiscard]] virtual std::unique_ptr<PointerWatch>
    watchButtons(std::function<void(bool down)> changed) = 0;
};

// For a system without popovers.
class NoTransientWindows : public TransientWindows {
public:
    bool composites() const override { return false; }
    bool places() const override { return false; }
    void setShadow(std::uint64_t, Geometry) override {}
    void takeKeyboard(std::uint64_t) override {}
    bool hasKeyboard(std::uint64_t) const override { return false; }
    void returnKeyboard(std::uint64_t) override {}
    std::unique_ptr<PointerWatch> watchButtons(std::function<void(bool)>) override {
        return std::make_unique<PointerWatch>();
    }
};

} // namespace morvel
