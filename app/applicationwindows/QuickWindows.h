// The application's windows in Qt Quick. Main thread.
#pragma once

#include "app/applicationwindows/ApplicationWindows.h"

#include <memory>

namespace morvel {

// Nothing is shown yet.
std::unique_ptr<ApplicationWindows> makeQuickWindows(const ApplicationWindows::Services& services);

} // namespace morvel
