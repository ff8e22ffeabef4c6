#include "audio/VarispeedKernelLoop.h"

namespace morvel {

void interpolatePortably(const VarispeedSpan& span) noexcept {
    interpolateWith<Quad, LooseQuad>(span);
}

} // namespace morvel
