#include "audio/VarispeedKernel.h"

namespace morvel {

void interpolateWide(const VarispeedSpan& span) noexcept;

VarispeedKernel fastestVarispeedKernel() noexcept {
    const bool wide = __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0;
    return wide ? interpolateWide : interpolatePortably;
}

} // namespace morvel
