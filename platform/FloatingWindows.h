// Lets a window be where the user is: on every workspace, above full-screen windows, and in no list
// of running programs. Adapters: platform/linux (X11), platform/macos.
#pragma once

#include <cstdint>

namespace morvel {

class FloatingWindows {
public:
    virtual ~FloatingWindows() = default;

    // Each time before the window with the system's handle `window` is shown. Main thread.
    virtual void prepare(std::uintptr_t window) = 0;
};

} // namespace morvel
