// Gives the person at the seat access to its keyboards, and takes it back. One thread; waits for
// udev, half a minute at the worst.
#pragma once

#include "platform/linux/access/KeyboardDevices.h"
#include "platform/linux/access/RuleFile.h"
#include "platform/linux/access/Udevadm.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace morvel {

struct AccessChange {
    enum class Kind {
        done,
        refused, // nothing was changed
        later,   // the rule is changed, but not everything that followed came about
    };
    Kind kind = Kind::done;
    std::string problem; // unless done: one printable line
};

// What the change is made to.
struct AccessSystem {
    std::filesystem::path root; // "/", but for a test's
    Udevadm udev;
    std::function<std::vector<DeviceFile>()> keyboards = keyboardDevices;
};

// Of keyboards plugged in later as well, until it is taken back. `later`: with the next start of
// the system.
AccessChange grantKeyboardAccess(const AccessSystem& system);

// Also where the rule is gone already, since the access given by it stays: udev acts on its tag,
// but not on the tag's absence, and the login manager leaves alone what has no tag any more. Only a
// keyboard that another rule gives to the person at the seat stays so. Until it is plugged in anew,
// or the system is started anew, udev remembers the tag: where something else has udev look at the
// keyboard again, it is given again, to whoever has the seat then, and since the tag is not a
// current one it is not withdrawn when the seat passes on to another session.
AccessChange revokeKeyboardAccess(const AccessSystem& system);

} // namespace morvel
