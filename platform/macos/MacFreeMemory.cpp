#include "platform/macos/MacFreeMemory.h"

#include "platform/macos/Frameworks.h"

namespace morvel {

void returnFreeMemory() {
    malloc_zone_pressure_relief(nullptr, 0);
}

} // namespace morvel
