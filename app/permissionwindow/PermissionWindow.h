// The window that asks for access to the keyboard, as its owner sees it. Main thread.
#pragma once

#include "app/trust/AccessibilityPermission.h"

namespace morvel {

class PermissionWindow {
public:
    virtual ~PermissionWindow() = default;

    // Brings the window to the front; makes it where there is none. `permission` must outlive it.
    virtual void show(AccessibilityPermission& permission) = 0;

    // Closes the window for good: the next show() makes another. Nothing happens where there is
    // none.
    virtual void close() = 0;
};

} // namespace morvel
