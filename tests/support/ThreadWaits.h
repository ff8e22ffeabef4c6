// Whether a call has waited for anything, however long it took on a busy machine.
#pragma once

#include <sys/resource.h>

namespace morvel::test {

// How often the calling thread has gone to sleep so far: for a lock, an answer, a time. Being set
// aside for other threads is none.
inline long waitsOfThisThread() {
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nvcsw;
}

} // namespace morvel::test
