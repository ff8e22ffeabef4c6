// What a desktop of a test's own tells the programs in it, of whichever kind the desktop is.
#pragma once

#include "tests/support/BusServer.h"
#include "tests/support/SessionBus.h"

#include <string>
#include <vector>

namespace morvel::test {

// The user's folders are in `home`; `bus` is null as long as there is none. A name alone is a
// variable that is taken away.
inline std::vector<std::string>
sessionEnvironment(const std::string& home, const std::string& soundServer, const SessionBus* bus) {
    std::vector<std::string> result = {
        "PULSE_SERVER=" + soundServer,
        "HOME=" + home,
        "XDG_CONFIG_HOME=" + home + "/.config",
        "XDG_DATA_HOME=" + home + "/.local/share",
        "XDG_CACHE_HOME=" + home + "/.cache",
        "XDG_STATE_HOME=" + home + "/.local/state",
        "XDG_RUNTIME_DIR=" + home + "/runtime",
        "XDG_CURRENT_DESKTOP",
        "SESSION_MANAGER",
        "PIPEWIRE_REMOTE",
        "PIPEWIRE_RUNTIME_DIR",
        "NO_AT_BRIDGE=1", // the toolkits' bus for screen readers would outlive the test
        "GTK_A11Y=none",
        "QT_LINUX_ACCESSIBILITY_ALWAYS_ON=0",
    };
    result.push_back("DBUS_SESSION_BUS_ADDRESS=" + (bus != nullptr ? bus->address() : noBus));
    return result;
}

} // namespace morvel::test
