// From one audio file of a theme to a buffer that the engine plays as it is.
#pragma once

#include "audio/sample/PcmBuffer.h"
#include "platform/Result.h"
#include "themes/ThemeLoadError.h"

#include <cstddef>
#include <filesystem>
#include <memory>

namespace morvel {

using LoadedBuffer = Result<std::shared_ptr<const PcmBuffer>, BufferLoadError>;

struct DecodedVariant {
    LoadedBuffer buffer;
    std::size_t bytes = 0; // of audio that were decoded, also where the file failed after all
};

// Decodes and, if needed, converts the whole file, within ReadLimits. Any thread, several at once.
DecodedVariant decodeVariant(const std::filesystem::path& file);

} // namespace morvel
