#pragma once

namespace morvel {

// Gives the system back what the program has freed. Main thread; takes a millisecond or so.
void returnFreeMemory();

} // namespace morvel
