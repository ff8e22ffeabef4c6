// Windows above all others and on every space, full-screen ones included.
#pragma once

#include "platform/FloatingWindows.h"

namespace morvel {

class MacFloatingWindows : public FloatingWindows {
public:
    // The handle is that of the window's view.
    void prepare(std::uintptr_t window) override;
};

} // namespace morvel
