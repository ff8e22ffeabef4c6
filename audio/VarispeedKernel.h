// The inner loop of the varispeed: a filter whose coefficients are interpolated for every frame.
//
// It is most of what rendering costs, so it exists once for every processor and once more for
// processors with wider arithmetic; the choice is made once, when the renderer is built. Which
// variants a build holds is decided by CMake from the processor.
#pragma once

#include <cstddef>
#include <cstdint>

namespace morvel {

// A position in a buffer is a fixed-point number of frames with 32 fractional bits, so that it is
// exact however long a loop runs.
inline constexpr unsigned positionFractionBits = 32;
inline constexpr std::uint64_t positionOne = std::uint64_t{1} << positionFractionBits;

// The filter's coefficients are tabulated at this many positions between two frames.
inline constexpr unsigned phaseBits = 7;
inline constexpr unsigned phaseCount = 1U << phaseBits;

struct VarispeedSpan {
    const float* table;     // phaseCount + 1 rows of `taps` coefficients
    std::uint32_t taps;     // a multiple of 8 from minimumTaps to maximumTaps
    const float* left;      // the frame under the first tap when the position is below one frame
    const float* right;     //
    std::uint64_t position; // of the first output frame
    std::uint64_t step;     // from one output frame to the next
    float* interleaved;     // 2 * frames, overwritten
    std::uint32_t frames;
};

// The samples of so many stereo frames.
constexpr std::size_t stereoSamples(std::uint32_t frames) noexcept {
    return std::size_t{2} * frames;
}

inline constexpr std::uint32_t minimumTaps = 24;
inline constexpr std::uint32_t maximumTaps = 48;

using VarispeedKernel = void (*)(const VarispeedSpan&) noexcept;

void interpolatePortably(const VarispeedSpan& span) noexcept;

// The fastest variant that this processor can run.
VarispeedKernel fastestVarispeedKernel() noexcept;

} // namespace morvel
