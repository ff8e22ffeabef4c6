// PulseAudio by libcubeb, every call into which may wait for the server. That moves the stream when
// the default device changes. The stream is closed while it rests.
//
// The environment (PULSE_SERVER, PULSE_RUNTIME_PATH, XDG_RUNTIME_DIR) names the server.
#pragma once

#include "platform/output/ServerStream.h"

namespace morvel {

extern const OutputServer pulseAudioServer;

} // namespace morvel
