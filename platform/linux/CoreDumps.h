// Keeping what passes through this process out of files.
#pragma once

namespace morvel {

// A crash leaves no image of the process's memory from now on, neither in a file nor with a program
// that collects them. What was typed last is in there, in the queues of the library that reads the
// keyboards. Children inherit it, and may undo it. Any thread.
//
// Where the system's own limit for images is 0, which nobody can raise, this changes nothing: there
// are no files then, but a program that collects images is handed one all the same.
void refuseCoreDumps();

} // namespace morvel
