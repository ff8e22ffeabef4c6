#include "platform/linux/CoreDumps.h"

#include <sys/resource.h>

namespace morvel {

// Of one byte: too small for a file, and the one limit that the kernel also obeys where a program
// collects the images. A process that called itself undumpable would hide its /proc folder from the
// desktop's portals, which look there for who is asking.
void refuseCoreDumps() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_CORE, &limit) != 0)
        return;
    limit.rlim_cur = 1;
    ::setrlimit(RLIMIT_CORE, &limit);
}

} // namespace morvel
