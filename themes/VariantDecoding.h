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

// How much audio may still be decoded. Failed files count for what was decoded of them, so that a
// folder full of links to one huge file is no way to keep the program busy.
struct DecodingBudget {
    // What one theme gets: 13 minutes of canonical audio, far beyond a set of key sounds.
    static constexpr std::size_t wholeTheme = std::size_t{256} << 20;

    std::size_t bytes = wholeTheme;

    bool exhausted() const { return bytes == 0; }
    // Takes `used` bytes; false, and nothing is left, when there were fewer.
    bool spend(std::size_t used);
};

// Decodes and, if needed, converts the whole file, within ReadLimits and `budget`.
LoadedBuffer decodeVariant(const std::filesystem::path& file, DecodingBudget& budget);

} // namespace morvel
