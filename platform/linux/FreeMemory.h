// Memory that the program has freed and the C library has kept for later.
#pragma once

namespace morvel {

// Gives it back to the system. For after much has been freed that will not be needed again soon.
// Takes about a millisecond, during which other threads that allocate wait.
void returnFreeMemory();

} // namespace morvel
