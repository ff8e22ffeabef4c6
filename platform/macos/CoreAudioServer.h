// Core Audio by libcubeb, which follows the default device and gives its thread precedence.
#pragma once

#include "platform/output/ServerStream.h"

namespace morvel {

extern const OutputServer coreAudioServer;

} // namespace morvel
