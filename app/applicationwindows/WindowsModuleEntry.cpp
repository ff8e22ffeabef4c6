// What the program finds in the module.

#include "app/applicationwindows/QuickWindows.h"
#include "app/applicationwindows/WindowsModule.h"

const char* morvelWindowsVersion() {
    return MORVEL_VERSION;
}

morvel::ApplicationWindows*
morvelMakeWindows(const morvel::ApplicationWindows::Services& services) {
    return morvel::makeQuickWindows(services).release();
}
