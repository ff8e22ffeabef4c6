// What the fuzzers drive, so that the ordinary tests can replay their corpus. Both take any bytes
// and abort the process when a promise is broken.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace morvel {

// The bytes as a manifest.json.
void fuzzManifest(std::span<const std::uint8_t> bytes);

// The bytes as an audio file, read and converted.
void fuzzAudioFile(std::span<const std::uint8_t> bytes);

} // namespace morvel
