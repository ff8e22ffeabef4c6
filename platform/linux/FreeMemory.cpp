#include "platform/linux/FreeMemory.h"

#include <malloc.h>

namespace morvel {

void returnFreeMemory() {
    ::malloc_trim(0);
}

} // namespace morvel
