// Plays a buffer at a rate: a band-limited polyphase interpolator.
//
// Rates from 0.5 to 2. Images and aliases are at least 80 dB down wherever they land below 19 kHz
// (at rate 1; in proportion at others): a rate above 1 is filtered at what the output can hold. The
// response is flat to 14 kHz and falls by 6 dB at 19.5 kHz. At rate 1 on a whole frame the frames
// are handed through bit for bit. There is no delay at any rate: the output frame at position p is
// the sound at p.
#pragma once

#include "audio/VarispeedKernel.h"

#include <array>
#include <cstdint>
#include <vector>

namespace morvel {

inline constexpr float minimumRate = 0.5F;
inline constexpr float maximumRate = 2.0F;

// Frames rendered at a time; everything on the audio thread works in blocks of at most this many.
inline constexpr std::uint32_t blockFrames = 128;

// The buffer as the varispeed reads it.
struct VarispeedSource {
    const float* left = nullptr;
    const float* right = nullptr;
    std::uint64_t length = 0; // frames
    bool loops = false;       // outside the buffer it repeats, else there is silence
};

class Varispeed {
public:
    // Tabulates the filters (about 10 ms). A null kernel means the fastest one.
    explicit Varispeed(VarispeedKernel kernel = nullptr);

    // `rate` as the exact distance between two output frames; clamped to the limits above, and not
    // a number counts as 1.
    static std::uint64_t stepForRate(float rate) noexcept;

    // Overwrites `interleaved` with `frames` (at most blockFrames) stereo frames, the first at
    // `position`, which must lie within the source. Audio thread or any one thread: the object
    // holds scratch memory.
    void render(const VarispeedSource& source, std::uint64_t position, std::uint64_t step,
                float* interleaved, std::uint32_t frames) noexcept;

private:
    // One filter for rates up to 1, then one for every semitone above.
    static constexpr unsigned filterCount = 13;
    struct alignas(32) CoefficientGroup {
        std::array<float, 8> coefficients;
    };
    struct Filter {
        std::uint64_t highestStep = 0;
        std::uint32_t taps = 0;
        std::vector<CoefficientGroup> rows;
    };

    static std::vector<CoefficientGroup> tabulate(unsigned taps, double cutoff);
    const Filter& filterFor(std::uint64_t step) const noexcept;
    void gather(const VarispeedSource& source, std::int64_t first, std::uint32_t count) noexcept;

    VarispeedKernel kernel_;
    std::array<Filter, filterCount> filters_;
    static constexpr std::uint32_t scratchFrames = 2 * blockFrames + maximumTaps + 2;
    std::array<float, scratchFrames> scratchLeft_ = {};
    std::array<float, scratchFrames> scratchRight_ = {};
};

} // namespace morvel
