// Keeping what passes through this process out of files.
#pragma once

namespace morvel {

// A crash leaves no image of the process's memory from now on, neither in a file nor with a program
// that collects them. What was typed last is in there, in the queues of the library that reads the
// keyboards. Children inherit it, and may undo it. Where the system lets nobody have images at all,
// it is left at that. Any thread.
void refuseCoreDumps();

} // namespace morvel
