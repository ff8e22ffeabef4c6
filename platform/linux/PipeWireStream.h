// PipeWire's own door. Nothing here waits for the server. The server moves the stream when the
// default device changes; a stream without a device awaits one.
//
// The environment (PIPEWIRE_REMOTE, PIPEWIRE_RUNTIME_DIR, XDG_RUNTIME_DIR) names the server. Its
// library is not loaded before there is a socket of one.
#pragma once

#include "platform/output/ServerStream.h"

namespace morvel {

extern const OutputServer pipeWireServer;

} // namespace morvel
