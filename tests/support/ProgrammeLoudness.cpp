#include "tests/support/ProgrammeLoudness.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <vector>

namespace morvel::measure {

namespace {

constexpr double sampleRate = 44100;
constexpr std::size_t hopFrames = 4410; // 100 ms
constexpr std::size_t hopsPerBlock = 4;
constexpr double silence = -70;

// A second-order section made from its analogue prototype (b2 s2 + b1 s + b0) / (s2 + s / q + 1).
class Section {
public:
    Section(double hz, double q, double b2, double b1, double b0) {
        const double k = std::tan(std::numbers::pi * hz / sampleRate);
        const double a0 = 1 + k / q + k * k;
        m_b = {(b2 + b1 * k + b0 * k * k) / a0, 2 * (b0 * k * k - b2) / a0,
               (b2 - b1 * k + b0 * k * k) / a0};
        m_a = {2 * (k * k - 1) / a0, (1 - k / q + k * k) / a0};
    }

    double process(double in) {
        const double out = m_b[0] * in + m_s[0];
        m_s[0] = m_b[1] * in - m_a[0] * out + m_s[1];
        m_s[1] = m_b[2] * in - m_a[1] * out;
        return out;
    }

private:
    std::array<double, 3> m_b;
    std::array<double, 2> m_a;
    std::array<double, 2> m_s = {};
};

// The two stages of K-weighting: the head's shelf and the low frequencies' high-pass.
Section shelf() {
    constexpr double q = 0.7071752;
    const double high = std::pow(10, 3.999843854 / 20);
    const double band = std::pow(high, 0.4996667741545416);
    return {1681.974450955533, q, high, band / q, 1};
}

Section highPass() {
    return {38.13547087602444, 0.5003270373238773, 1, 0, 0};
}

double loudnessOf(double power) {
    return power > 0 ? -0.691 + 10 * std::log10(power) : -300;
}

// Mean of the blocks above the gate, 0 without any.
double gatedMean(const std::vector<double>& blocks, double gate) {
    double sum = 0;
    std::size_t count = 0;
    for (const double power : blocks) {
        if (loudnessOf(power) > gate) {
            sum += power;
            ++count;
        }
    }
    return count == 0 ? 0 : sum / static_cast<double>(count);
}

} // namespace

double integratedLoudness(std::span<const float> interleaved) {
    std::vector<double> hops(interleaved.size() / 2 / hopFrames);
    for (std::size_t side = 0; side < 2; ++side) {
        Section first = shelf();
        Section second = highPass();
        for (std::size_t i = 0; i < hops.size() * hopFrames; ++i) {
            const double weighted =
                second.process(first.process(static_cast<double>(interleaved[2 * i + side])));
            hops[i / hopFrames] += weighted * weighted / static_cast<double>(hopFrames);
        }
    }
    std::vector<double> blocks;
    for (std::size_t i = 0; i + hopsPerBlock <= hops.size(); ++i) {
        double power = 0;
        for (std::size_t j = 0; j < hopsPerBlock; ++j)
            power += hops[i + j] / static_cast<double>(hopsPerBlock);
        blocks.push_back(power);
    }
    const double relativeGate = loudnessOf(gatedMean(blocks, silence)) - 10;
    return std::max(silence, loudnessOf(gatedMean(blocks, std::max(silence, relativeGate))));
}

} // namespace morvel::measure
