// A peak limiter that looks ahead: its gain has already fallen when a peak comes out.
//
// No output sample is ever past full scale. While every sample within the look-ahead and the
// release stays at or below it, the limiter hands the signal through bit for bit, delayed by
// delayFrames(). Both channels share one gain, so that the stereo picture does not move.
#pragma once

#include "audio/Varispeed.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace morvel {

// What setParameter answers; 0 is success.
enum class LimiterStatus : int { ok = 0, unknownParameter = 1, illegalValue = 2 };

class Limiter {
public:
    // The parameters by their ids.
    static constexpr std::uint32_t attackTime = 0; // seconds, 0.001 to 0.03; also the look-ahead
    static constexpr std::uint32_t decayTime = 1;  // seconds, 0.001 to 0.06
    static constexpr std::uint32_t preGain = 2;    // decibels, -40 to 40

    Limiter();

    // Not while another thread renders. Changing the attack drops what is in the delay.
    LimiterStatus setParameter(std::uint32_t id, float value);

    std::uint32_t delayFrames() const noexcept { return lookAhead_; }

    // Limits `frames` (at most blockFrames) interleaved stereo frames in place. Audio thread; does
    // not allocate. A sample that is not a finite number counts as silence.
    void process(float* interleaved, std::uint32_t frames) noexcept;

    // Drops what is in the delay. Audio thread.
    void clear() noexcept;

    // Nothing but silence is left inside. Audio thread.
    bool isIdle() const noexcept { return silentFrames_ >= 2 * (lookAhead_ + 1) && settled(); }

private:
    struct Block {
        bool silent;
        bool loud; // past full scale somewhere
    };

    bool settled() const noexcept { return transparentFrames_ > 2 * lookAhead_; }
    void resize();
    Block prepare(const float* interleaved, std::uint32_t frames) noexcept;
    void computeGains(std::uint32_t frames) noexcept;
    const float* slidingMinimum(std::uint32_t frames) noexcept;

    float preGain_ = 1;
    float releaseStep_ = 0;
    std::uint32_t lookAhead_ = 0;
    std::uint32_t transparentFrames_ = 0; // frames since the gain was last below 1
    std::uint32_t silentFrames_ = 0;

    // Each holds the last frames of what came before, then the block at hand.
    std::vector<float> delay_;                  // interleaved
    std::vector<float> required_;               // the gain that each frame needs
    std::array<std::vector<float>, 2> minimum_; // the least of it over the look-ahead
    std::vector<std::int32_t> released_;        // after the release, in fixed point
    std::vector<float> gains_;
    std::vector<std::int32_t> sums_;
    float envelope_ = 1;
    std::int32_t releasedSum_ = 0; // exact, so that the mean is exactly 1 again after any limiting
};

} // namespace morvel
