// Floating windows by the hints that X11 window managers follow. Without effect outside X11.
#pragma once

#include "platform/FloatingWindows.h"

namespace morvel {

// Works on the connection of the running QGuiApplication: what a window says of itself then arrives
// before the request to show it.
class X11FloatingWindows : public FloatingWindows {
public:
    void prepare(std::uintptr_t window) override;
};

} // namespace morvel
