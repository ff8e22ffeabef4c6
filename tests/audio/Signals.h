// Test signals and how to measure them.
#pragma once

#include "audio/sample/PcmBuffer.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <numbers>
#include <random>
#include <span>
#include <vector>

namespace morvel::test {

inline double decibels(double ratio) {
    return 20 * std::log10(std::max(ratio, 1e-15));
}

inline std::shared_ptr<const PcmBuffer> bufferOf(std::vector<float> left,
                                                 std::vector<float> right) {
    auto buffer = std::make_shared<PcmBuffer>();
    buffer->channels = {std::move(left), std::move(right)};
    return buffer;
}

// A sine; the right channel has the opposite sign.
inline std::shared_ptr<const PcmBuffer> sine(double frequency, std::size_t frames,
                                             float amplitude = 1) {
    std::vector<float> left(frames);
    std::vector<float> right(frames);
    for (std::size_t i = 0; i < frames; ++i) {
        const double angle = 2 * std::numbers::pi * frequency * static_cast<double>(i) / 44100;
        left[i] = amplitude * static_cast<float>(std::sin(angle));
        right[i] = -left[i];
    }
    return bufferOf(std::move(left), std::move(right));
}

inline std::shared_ptr<const PcmBuffer> constant(float value, std::size_t frames) {
    return bufferOf(std::vector<float>(frames, value), std::vector<float>(frames, value));
}

inline std::shared_ptr<const PcmBuffer> noise(std::size_t frames, float amplitude,
                                              std::uint32_t seed = 1) {
    std::mt19937 generator(seed);
    auto draw = [&] {
        return amplitude * (static_cast<float>(generator()) / 2147483648.0F - 1.0F);
    };
    std::vector<float> left(frames);
    std::vector<float> right(frames);
    for (std::size_t i = 0; i < frames; ++i) {
        left[i] = draw();
        right[i] = draw();
    }
    return bufferOf(std::move(left), std::move(right));
}

inline std::vector<float> channel(std::span<const float> interleaved, std::size_t index) {
    std::vector<float> result(interleaved.size() / 2);
    for (std::size_t i = 0; i < result.size(); ++i)
        result[i] = interleaved[2 * i + index];
    return result;
}

inline float peak(std::span<const float> samples) {
    float result = 0;
    for (const float sample : samples)
        result = std::max(result, std::abs(sample));
    return result;
}

inline double rms(std::span<const float> samples) {
    double sum = 0;
    for (const float sample : samples)
        sum += static_cast<double>(sample) * sample;
    return std::sqrt(sum / static_cast<double>(samples.size()));
}

struct SineFit {
    double amplitude = 0;
    double residualRms = 0; // of everything that is not the sine
};

// The sine of `frequency` that fits best, by least squares, and what it leaves.
inline SineFit fitSine(std::span<const float> samples, double frequency) {
    double ss = 0;
    double cc = 0;
    double sc = 0;
    double xs = 0;
    double xc = 0;
    const auto angle = [&](std::size_t i) {
        return 2 * std::numbers::pi * frequency * static_cast<double>(i) / 44100;
    };
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double s = std::sin(angle(i));
        const double c = std::cos(angle(i));
        ss += s * s;
        cc += c * c;
        sc += s * c;
        xs += samples[i] * s;
        xc += samples[i] * c;
    }
    const double determinant = ss * cc - sc * sc;
    const double a = (xs * cc - xc * sc) / determinant;
    const double b = (xc * ss - xs * sc) / determinant;
    double rest = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double left = samples[i] - a * std::sin(angle(i)) - b * std::cos(angle(i));
        rest += left * left;
    }
    return {std::hypot(a, b), std::sqrt(rest / static_cast<double>(samples.size()))};
}

} // namespace morvel::test
