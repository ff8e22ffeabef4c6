// Folders that only a process and its children see, for a test of a program of the superuser's that
// writes into the system's.
#pragma once

#include "tests/support/ChildProcess.h"

#include <unistd.h>

#include <chrono>

namespace morvel::test {

// Not everybody can have them who is called the superuser: containers often withhold it.
inline bool canMountInPrivate() {
    return geteuid() == 0 &&
           ChildProcess({{"unshare", "--mount", "mount", "-t", "tmpfs", "none", "/run"},
                         {},
                         "/dev/null",
                         {},
                         {}})
                   .wait(std::chrono::seconds(20)) == 0;
}

} // namespace morvel::test
