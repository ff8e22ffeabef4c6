#include "audio/Limiter.h"

#include "audio/sample/PcmBuffer.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace morvel {

namespace {

// The sum over the longest look-ahead still fits 32 bits.
constexpr std::int32_t fixedOne = 1 << 20;
// An envelope this near to 1 is 1: less than a thousandth of a decibel, and the release ends.
constexpr float releasedEnvelope = 0.9999F;
// Larger samples are damage, not sound.
constexpr float absurdSample = 1e6F;

bool within(float value, float low, float high) {
    return value >= low && value <= high;
}

float least(float a, float b) {
    return a < b ? a : b;
}

// What some frames do to the envelope: it rises towards 1, and stays below what they need.
struct Release {
    float hold;
    float rise;
    float limit;

    float operator()(float envelope) const { return least(limit, envelope * hold + rise); }
    // This one, and `next` after it.
    Release then(const Release& next) const {
        return {hold * next.hold, rise * next.hold + next.rise, next(limit)};
    }
};

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
    for (auto& minimum : minimum_)
        minimum.resize(history);
    released_.resize(history);
    gains_.resize(blockFrames);
    sums_.resize(blockFrames);
    clear();
}

void Limiter::clear() noexcept {
    std::fill(delay_.begin(), delay_.end(), 0.0F);
    std::fill(required_.begin(), required_.end(), 1.0F);
    std::fill(released_.begin(), released_.end(), fixedOne);
    envelope_ = 1;
    releasedSum_ = static_cast<std::int32_t>(lookAhead_) * fixedOne;
    transparentFrames_ = 2 * lookAhead_ + 1;
    silentFrames_ = 2 * (lookAhead_ + 1);
}

// Appends the block to the delay line and tells what its samples are like.
Limiter::Block Limiter::prepare(const float* interleaved, std::uint32_t frames) noexcept {
    float* const fresh = delay_.data() + stereoSamples(lookAhead_);
    const float gain = preGain_;
    std::uint32_t heard = 0;
    std::uint32_t loud = 0;
    for (std::uint32_t i = 0; i < 2 * frames; ++i) {
        const float scaled = interleaved[i] * gain;
        const float sample = std::abs(scaled) <= absurdSample ? scaled : 0.0F;
        fresh[i] = sample;
        heard |= std::abs(sample) > 0.0F ? 1U : 0U;
        loud |= std::abs(sample) > 1.0F ? 1U : 0U;
    }
    const Block block{heard == 0, loud != 0};
    if (block.loud || !settled()) {
        float* const required = required_.data() + lookAhead_;
        for (std::size_t i = 0; i < frames; ++i) {
            const float left = std::abs(fresh[2 * i]);
            const float right = std::abs(fresh[2 * i + 1]);
            const float loudest = left > right ? left : right;
            required[i] = 1.0F / (loudest > 1.0F ? loudest : 1.0F);
        }
    }
    return block;
}

// The least required gain among each frame and the lookAhead_ frames before it, by doubling: the
// minimum over 2n frames is that of two neighbouring minima over n. Answers where it is.
const float* Limiter::slidingMinimum(std::uint32_t frames) noexcept {
    const std::uint32_t window = lookAhead_ + 1;
    const float* from = required_.data();
    float* to = minimum_[0].data();
    float* spare = minimum_[1].data();
    const auto combine = [&](std::uint32_t distance, std::uint32_t count) {
        const float* const a = from;
        const float* const b = from + distance;
        float* __restrict const out = to;
        for (std::uint32_t i = 0; i < count; ++i)
            out[i] = a[i] < b[i] ? a[i] : b[i];
        from = to;
        std::swap(to, spare);
    };
    std::uint32_t width = 1;
    std::uint32_t valid = lookAhead_ + frames;
    for (; 2 * width <= window; width *= 2) {
        valid -= width;
        combine(width, valid);
    }
    combine(window - width, frames);
    return from;
}

// The released envelope never exceeds the sliding minimum, which stays at a peak's gain for the
// whole look-ahead; so the mean over the look-ahead has reached it when the peak comes out.
void Limiter::computeGains(std::uint32_t frames) noexcept {
    const float* const minimum = slidingMinimum(frames);
    float* __restrict const gains = gains_.data();
    const float step = releaseStep_;
    const auto release = [minimum, step](std::uint32_t frame) {
        return Release{1 - step, minimum[frame] * step, minimum[frame]};
    };
    float envelope = envelope_;
    std::uint32_t i = 0;
    // Each step has to wait for the one before; so four frames are one.
    for (; i + 3 < frames; i += 4) {
        const Release first = release(i);
        const Release third = release(i + 2);
        const Release two = first.then(release(i + 1));
        const Release four = two.then(third.then(release(i + 3)));
        gains[i] = first(envelope);
        gains[i + 1] = two(envelope);
        gains[i + 2] = third(gains[i + 1]);
        gains[i + 3] = envelope = four(envelope);
    }
    for (; i < frames; ++i)
        gains[i] = envelope = release(i)(envelope);
    envelope_ = envelope;
    for (i = 0; i < frames; ++i)
        gains[i] = gains[i] > releasedEnvelope ? minimum[i] : gains[i];

    const std::int32_t* const old = released_.data();
    std::int32_t* const released = released_.data() + lookAhead_;
    std::int32_t lowest = fixedOne;
    for (i = 0; i < frames; ++i) {
        const auto fixed = static_cast<std::int32_t>(gains[i] * static_cast<float>(fixedOne));
        released[i] = fixed;
        lowest = fixed < lowest ? fixed : lowest;
    }
    transparentFrames_ = lowest < fixedOne ? 0 : std::min(transparentFrames_ + frames, 1U << 30);

    std::int32_t* __restrict const sums = sums_.data();
    std::int32_t sum = releasedSum_;
    for (i = 0; i < frames; ++i) {
        sum += released[i];
        sums[i] = sum;
        sum -= old[i];
    }
    releasedSum_ = sum;
    const auto scale = static_cast<float>(lookAhead_ + 1) * static_cast<float>(fixedOne);
    for (i = 0; i < frames; ++i)
        gains[i] = static_cast<float>(sums[i]) / scale;
}

void Limiter::process(float* interleaved, std::uint32_t frames) noexcept {
    const Block block = prepare(interleaved, frames);
    silentFrames_ = block.silent ? std::min(silentFrames_ + frames, 1U << 30) : 0;
    const std::size_t history = lookAhead_;
    const float* const delayed = delay_.data();
    if (!block.loud && settled()) {
        std::memcpy(interleaved, delayed, stereoSamples(frames) * sizeof(float));
    } else {
        computeGains(frames);
        const float* const gains = gains_.data();
        for (std::uint32_t i = 0; i < 2 * frames; ++i) {
            const float sample = delayed[i] * gains[i / 2];
            const float below = sample < 1.0F ? sample : 1.0F;
            interleaved[i] = below > -1.0F ? below : -1.0F;
        }
        std::memmove(required_.data(), required_.data() + frames, history * sizeof(float));
        std::memmove(released_.data(), released_.data() + frames, history * sizeof(std::int32_t));
    }
    std::memmove(delay_.data(), delay_.data() + stereoSamples(frames), 2 * history * sizeof(float));
}

} // namespace morvel
