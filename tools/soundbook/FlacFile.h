// The format the demos are kept in: FLAC, 44,100 Hz, stereo, 16 bits.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>

namespace morvel::soundbook {

// Writes `interleaved` (left first), what is beyond full scale limited to it, replacing the file.
// The same samples give the same bytes. Returns what failed, in one line, or nothing.
std::optional<std::string> writeFlac(const std::filesystem::path& file,
                                     std::span<const float> interleaved);

} // namespace morvel::soundbook
