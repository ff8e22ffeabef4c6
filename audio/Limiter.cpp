#include "audio/Limiter.h"

#include "audio/sample/PcmBuffer.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace morvel {

namespace {

constexpr float fixedOne = 1 << 30;
// An envelope this near to 1 is 1: less than a thousandth of a decibel, and the release ends.
constexpr float releasedEnvelope = 0.9999F;
// Larger samples are damage, not sound.
constexpr float absurdSample = 1e6F;

bool within(float value, float low, float high) {
    return value >= low && value <= high;
}

} // namespace

Limiter::Limiter() {
    setParameter(preGain, 0.0F);
    setParameter(attackTime, 0.001F);
    setParameter(decayTime, 0.04F);
}

LimiterStatus Limiter::setParameter(std::uint32_t id, float value) {
    constexpr auto sampleRate = static_cast<float>(canonicalFormat.sampleRate);
    switch (id) {
    case attackTime:
        if (!within(value, 0.001F, 0.03F))
            return LimiterStatus::illegalValue;
        lookAhead_ = static_cast<std::uint32_t>(std::lround(value * sampleRate));
        resize();
        return LimiterStatus::ok;
    case decayTime:
        if (!within(value, 0.001F, 0.06F))
            return LimiterStatus::illegalValue;
        releaseStep_ = 1.0F - std::exp(-1.0F / (value * sampleRate));
        return LimiterStatus::ok;
    case preGain:
        if (!within(value, -40, 40))
            return LimiterStatus::illegalValue;
        preGain_ = std::pow(10.0F, value / 20.0F);
        return LimiterStatus::ok;
    default:
        return LimiterStatus::unknownParameter;
    }
}

void Limiter::resize() {
    const std::size_t history = lookAhead_ + blockFrames;
    delay_.resize(2 * history);
    required_.resize(history);
    minimum_.resize(history);
    released_.resize(history);
    gains_.resize(blockFrames);
    clear();
}

void Limiter::clear() noexcept {
    std::fill(delay_.begin(), delay_.end(), 0.0F);
    std::fill(required_.begin(), required_.end(), 1.0F);
    std::fill(released_.begin(), released_.end(), static_cast<std::int32_t>(fixedOne));
    envelope_ = 1;
    releasedSum_ = static_cast<std::int64_t>(lookAhead_) * static_cast<std::int64_t>(fixedOne);
    transparentFrames_ = 2 * lookAhead_ + 1;
    silentFrames_ = 2 * (lookAhead_ + 1);
}

// Appends the block to the delay line; answers its peak.
float Limiter::prepare(const float* interleaved, std::uint32_t frames) noexcept {
    float* const fresh = delay_.data() + 2 * static_cast<std::size_t>(lookAhead_);
    float* const required = required_.data() + lookAhead_;
    const float gain = preGain_;
    float peak = 0;
    for (std::uint32_t i = 0; i < 2 * frames; ++i) {
        const float scaled = interleaved[i] * gain;
        const float sample = std::abs(scaled) <= absurdSample ? scaled : 0.0F;
        fresh[i] = sample;
        const float magnitude = std::abs(sample);
        peak = magnitude > peak ? magnitude : peak;
    }
    if (peak > 1 || !settled()) {
        for (std::uint32_t i = 0; i < frames; ++i) {
            const float left = std::abs(fresh[2 * i]);
            const float right = std::abs(fresh[2 * i + 1]);
            const float loudest = left > right ? left : right;
            required[i] = loudest > 1 ? 1 / loudest : 1.0F;
        }
    }
    return peak;
}

// The least required gain among each frame and the lookAhead_ frames before it, by doubling: the
// minimum over 2n frames is that of two neighbouring minima over n.
void Limiter::slidingMinimum(std::uint32_t frames) noexcept {
    const std::uint32_t window = lookAhead_ + 1;
    const std::uint32_t total = lookAhead_ + frames;
    float* const least = minimum_.data();
    std::memcpy(least, required_.data(), total * sizeof(float));
    std::uint32_t width = 1;
    std::uint32_t valid = total;
    for (; 2 * width <= window; width *= 2) {
        valid -= width;
        for (std::uint32_t i = 0; i < valid; ++i)
            least[i] = least[i + width] < least[i] ? least[i + width] : least[i];
    }
    const std::uint32_t rest = window - width;
    for (std::uint32_t i = 0; i < frames; ++i)
        least[i] = least[i + rest] < least[i] ? least[i + rest] : least[i];
}

// The released envelope never exceeds the sliding minimum, which stays at a peak's gain for the
// whole look-ahead; so the mean over the look-ahead has reached it when the peak comes out.
void Limiter::computeGains(std::uint32_t frames) noexcept {
    slidingMinimum(frames);
    std::int32_t* const released = released_.data();
    const std::uint32_t window = lookAhead_ + 1;
    const double scale = static_cast<double>(window) * static_cast<double>(fixedOne);
    float envelope = envelope_;
    std::int64_t sum = releasedSum_;
    std::uint32_t transparent = transparentFrames_;
    for (std::uint32_t i = 0; i < frames; ++i) {
        const float least = minimum_[i];
        const float risen = envelope + (least - envelope) * releaseStep_;
        envelope = least < risen ? least : risen;
        envelope = envelope > releasedEnvelope ? least : envelope;
        const auto fixed = static_cast<std::int32_t>(envelope * fixedOne);
        released[lookAhead_ + i] = fixed;
        sum += fixed;
        gains_[i] = static_cast<float>(static_cast<double>(sum) / scale);
        sum -= released[i];
        transparent = envelope < 1 ? 0 : transparent + 1;
    }
    envelope_ = envelope;
    releasedSum_ = sum;
    transparentFrames_ = std::min(transparent, 1U << 30);
}

void Limiter::process(float* interleaved, std::uint32_t frames) noexcept {
    const float peak = prepare(interleaved, frames);
    silentFrames_ = peak > 0 ? 0 : std::min(silentFrames_ + frames, 1U << 30);
    const std::size_t history = lookAhead_;
    if (peak <= 1 && settled()) {
        std::memcpy(interleaved, delay_.data(), 2 * frames * sizeof(float));
    } else {
        computeGains(frames);
        for (std::uint32_t i = 0; i < frames; ++i) {
            const float left = delay_[2 * i] * gains_[i];
            const float right = delay_[2 * i + 1] * gains_[i];
            interleaved[2 * i] = left > 1 ? 1.0F : (left < -1 ? -1.0F : left);
            interleaved[2 * i + 1] = right > 1 ? 1.0F : (right < -1 ? -1.0F : right);
        }
        std::memmove(required_.data(), required_.data() + frames, history * sizeof(float));
        std::memmove(released_.data(), released_.data() + frames, history * sizeof(std::int32_t));
    }
    std::memmove(delay_.data(), delay_.data() + 2 * static_cast<std::size_t>(frames),
                 2 * history * sizeof(float));
}

} // namespace morvel
