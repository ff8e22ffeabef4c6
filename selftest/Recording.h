// The recording that a self-test makes of what it plays. Main thread.
#pragma once

#include "audio/AudioEngine.h"
#include "platform/Log.h"

#include <filesystem>
#include <string_view>

namespace morvel {

// Has `audio` record its output into `file`, in place of a file that is there already. Logs
// "<prefix> recording to <file>", or "<prefix> could not start recording: <why>"; answers whether
// it records.
bool startSelfTestRecording(AudioEngine& audio, Log& log, std::string_view prefix,
                            const std::filesystem::path& file);

} // namespace morvel
