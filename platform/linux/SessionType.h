// Which kind of desktop session the program runs in.
#pragma once

#include "platform/Environment.h"

namespace morvel {

// False on Wayland, where an X server is there for old programs only and does not hear what others
// are sent. A session that was started from a console does not say what it is; there the Wayland
// display tells. Main thread.
bool isX11Session(const Environment& environment);

// Whether there is a display server that Qt can show windows by: one that answers, and for a
// Wayland compositor Qt's part for it, which is a package of its own. What QT_QPA_PLATFORM names is
// the only choice; something else than the two is taken at its word in a Wayland session. Main
// thread.
bool displayServerAnswers(const Environment& environment);

} // namespace morvel
