#include "tools/themeforge/Filter.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace morvel::forge {

namespace {

struct Angle {
    double cosine;
    double alpha;
};

Angle angle(double hz, double q) {
    const double w = 2 * std::numbers::pi * std::clamp(hz / sampleRate, 1e-5, 0.49);
    return {std::cos(w), std::sin(w) / (2 * q)};
}

} // namespace

Biquad::Biquad(double b0, double b1, double b2, double a0, double a1, double a2)
    : m_b0(b0 / a0)
    , m_b1(b1 / a0)
    , m_b2(b2 / a0)
    , m_a1(a1 / a0)
    , m_a2(a2 / a0) {}

Biquad Biquad::lowPass(double hz, double q) {
    const auto [c, alpha] = angle(hz, q);
    return {(1 - c) / 2, 1 - c, (1 - c) / 2, 1 + alpha, -2 * c, 1 - alpha};
}

Biquad Biquad::highPass(double hz, double q) {
    const auto [c, alpha] = angle(hz, q);
    return {(1 + c) / 2, -(1 + c), (1 + c) / 2, 1 + alpha, -2 * c, 1 - alpha};
}

Biquad Biquad::bandPass(double hz, double q) {
    const auto [c, alpha] = angle(hz, q);
    return {alpha, 0, -alpha, 1 + alpha, -2 * c, 1 - alpha};
}

void Biquad::process(Signal& signal) {
    for (double& s : signal) {
        const double out = m_b0 * s + m_s1;
        m_s1 = m_b1 * s - m_a1 * out + m_s2;
        m_s2 = m_b2 * s - m_a2 * out;
        s = out;
    }
}

} // namespace morvel::forge
