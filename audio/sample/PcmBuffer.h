// Decoded audio in memory, and the one format in which the engine plays it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace morvel {

// Standard format: deinterleaved 32-bit float, nominally -1 to 1.
struct AudioFormat {
    double sampleRate = 0; // frames a second
    std::uint32_t channels = 0;

    bool operator==(const AudioFormat&) const = default;
};

inline constexpr AudioFormat canonicalFormat{44100.0, 2};

// A run of audio in the canonical format. Built once, then shared as
// std::shared_ptr<const PcmBuffer> and never changed again, so any thread may read it.
struct PcmBuffer {
    std::array<std::vector<float>, 2> channels; // left, right; equally long

    std::size_t frameLength() const { return channels[0].size(); }
};

} // namespace morvel
