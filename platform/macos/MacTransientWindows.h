// What a popover needs of the window system. Windows are named by their views.
#pragma once

#include "platform/TransientWindows.h"

namespace morvel {

class MacTransientWindows : public TransientWindows {
public:
    bool composites() const override { return true; }
    bool places() const override { return true; }
    // The view draws its own shadow; clicks on what is transparent go to what is below.
    void setShadow(std::uint64_t window, Geometry geometry) override;
    // Makes the application active, whichever is.
    void takeKeyboard(std::uint64_t window) override;
    bool hasKeyboard(std::uint64_t window) const override;
    // The system gives it to the next window.
    void returnKeyboard(std::uint64_t) override {}
    // By an event tap of the pointers. Tells nothing where the system refuses it.
    std::unique_ptr<PointerWatch> watchButtons(std::function<void(bool down)> changed) override;
};

} // namespace morvel
