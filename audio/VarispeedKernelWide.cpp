// Compiled for processors with 256-bit fused multiply-add; called only after asking for it.
#include "audio/VarispeedKernelLoop.h"

namespace morvel {

void interpolateWide(const VarispeedSpan& span) noexcept;

void interpolateWide(const VarispeedSpan& span) noexcept {
    interpolateWith<Octet, LooseOctet>(span);
}

} // namespace morvel
