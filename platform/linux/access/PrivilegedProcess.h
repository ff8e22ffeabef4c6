// Makes a process that somebody without privileges has started independent of that somebody. Call
// it first, before any thread.
#pragma once

namespace morvel {

// Afterwards: a fixed environment, the root folder as the current one, files made for their owner
// unless said otherwise, no descriptor open but the standard ones, no signal blocked, and a file
// that grows too long is a failed write.
void becomeIndependent();

} // namespace morvel
