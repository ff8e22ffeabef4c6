#include "audio/VarispeedKernel.h"

namespace morvel {

VarispeedKernel fastestVarispeedKernel() noexcept {
    return interpolatePortably;
}

} // namespace morvel
