// The loop that every variant of the kernel compiles for its own instruction set. All of it has
// internal linkage: a function compiled for a newer processor must never stand in for another.
#pragma once

#include "audio/VarispeedKernel.h"

#include <cstddef>

namespace morvel {
namespace {

using Quad = float __attribute__((vector_size(16)));
using Octet = float __attribute__((vector_size(32)));
using LooseQuad = float __attribute__((vector_size(16), aligned(4), may_alias));
using LooseOctet = float __attribute__((vector_size(32), aligned(4), may_alias));

// Sums of the lanes of four vectors: { left, right, nextLeft, nextRight }.
inline __attribute__((always_inline)) void sumLanes(const Quad& left, const Quad& right,
                                                    const Quad& nextLeft, const Quad& nextRight,
                                                    Quad& sums) noexcept {
    const Quad pairs = __builtin_shufflevector(left, right, 0, 4, 1, 5) +
                       __builtin_shufflevector(left, right, 2, 6, 3, 7);
    const Quad nextPairs = __builtin_shufflevector(nextLeft, nextRight, 0, 4, 1, 5) +
                           __builtin_shufflevector(nextLeft, nextRight, 2, 6, 3, 7);
    sums = __builtin_shufflevector(pairs, nextPairs, 0, 1, 4, 5) +
           __builtin_shufflevector(pairs, nextPairs, 2, 3, 6, 7);
}

inline __attribute__((always_inline)) void sumLanes(const Octet& left, const Octet& right,
                                                    const Octet& nextLeft, const Octet& nextRight,
                                                    Quad& sums) noexcept {
    const Octet pairs = __builtin_shufflevector(left, right, 0, 8, 1, 9, 4, 12, 5, 13) +
                        __builtin_shufflevector(left, right, 2, 10, 3, 11, 6, 14, 7, 15);
    const Octet nextPairs =
        __builtin_shufflevector(nextLeft, nextRight, 0, 8, 1, 9, 4, 12, 5, 13) +
        __builtin_shufflevector(nextLeft, nextRight, 2, 10, 3, 11, 6, 14, 7, 15);
    const Octet both = __builtin_shufflevector(pairs, nextPairs, 0, 1, 8, 9, 4, 5, 12, 13) +
                       __builtin_shufflevector(pairs, nextPairs, 2, 3, 10, 11, 6, 7, 14, 15);
    sums = __builtin_shufflevector(both, both, 0, 1, 2, 3) +
           __builtin_shufflevector(both, both, 4, 5, 6, 7);
}

// One output frame, its products still spread over the lanes.
template <typename Lanes, typename LooseLanes, unsigned groups>
inline __attribute__((always_inline)) void convolve(const VarispeedSpan& span,
                                                    std::uint64_t position, Lanes& leftSum,
                                                    Lanes& rightSum) noexcept {
    constexpr std::size_t lanes = sizeof(Lanes) / sizeof(float);
    constexpr unsigned phaseShift = positionFractionBits - phaseBits;
    constexpr std::uint32_t betweenMask = (1U << phaseShift) - 1;
    constexpr float betweenScale = 1.0F / static_cast<float>(betweenMask + 1);
    const std::uint64_t index = position >> positionFractionBits;
    const auto fraction = static_cast<std::uint32_t>(position);
    const float between =
        static_cast<float>(static_cast<std::int32_t>(fraction & betweenMask)) * betweenScale;
    const float beforeUpper = 1.0F - between;
    const float* const row =
        span.table + static_cast<std::size_t>(fraction >> phaseShift) * (groups * lanes);
    const float* const left = span.left + index;
    const float* const right = span.right + index;
    for (std::size_t group = 0; group < groups; ++group) {
        const std::size_t at = group * lanes;
        const auto& lower = *reinterpret_cast<const LooseLanes*>(row + at);
        const auto& upper = *reinterpret_cast<const LooseLanes*>(row + at + groups * lanes);
        const Lanes coefficients = beforeUpper * lower + between * upper;
        leftSum += coefficients * *reinterpret_cast<const LooseLanes*>(left + at);
        rightSum += coefficients * *reinterpret_cast<const LooseLanes*>(right + at);
    }
}

// Two frames a turn, because adding up the lanes of four vectors costs little more than of two.
template <typename Lanes, typename LooseLanes, unsigned groups>
void interpolateSpan(const VarispeedSpan& span) noexcept {
    std::uint64_t position = span.position;
    Quad sums;
    std::uint32_t frame = 0;
    for (; frame + 1 < span.frames; frame += 2) {
        Lanes left = {};
        Lanes right = {};
        Lanes nextLeft = {};
        Lanes nextRight = {};
        convolve<Lanes, LooseLanes, groups>(span, position, left, right);
        convolve<Lanes, LooseLanes, groups>(span, position + span.step, nextLeft, nextRight);
        sumLanes(left, right, nextLeft, nextRight, sums);
        *reinterpret_cast<LooseQuad*>(span.interleaved + stereoSamples(frame)) = sums;
        position += 2 * span.step;
    }
    if (frame < span.frames) {
        Lanes left = {};
        Lanes right = {};
        convolve<Lanes, LooseLanes, groups>(span, position, left, right);
        sumLanes(left, right, left, right, sums);
        span.interleaved[stereoSamples(frame)] = sums[0];
        span.interleaved[stereoSamples(frame) + 1] = sums[1];
    }
}

template <typename Lanes, typename LooseLanes>
void interpolateWith(const VarispeedSpan& span) noexcept {
    constexpr std::size_t lanes = sizeof(Lanes) / sizeof(float);
    static_assert(minimumTaps == 24 && maximumTaps == 48);
    switch (span.taps) {
    case 24:
        return interpolateSpan<Lanes, LooseLanes, 24 / lanes>(span);
    case 32:
        return interpolateSpan<Lanes, LooseLanes, 32 / lanes>(span);
    case 40:
        return interpolateSpan<Lanes, LooseLanes, 40 / lanes>(span);
    default:
        return interpolateSpan<Lanes, LooseLanes, 48 / lanes>(span);
    }
}

} // namespace
} // namespace morvel
