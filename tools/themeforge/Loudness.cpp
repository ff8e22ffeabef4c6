#include "tools/themeforge/Loudness.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace morvel::forge {

namespace {

// The corner frequencies of A-weighting (IEC 61672), and its gain at 1 kHz made 0 dB.
constexpr double lowCorners[] = {20.6, 20.6, 107.7, 737.9};
constexpr double highCorners[] = {12194, 12194};
constexpr double normalisingDb = 2.0;

void firstOrder(Signal& signal, double hz, bool highPass) {
    const double k = std::tan(std::numbers::pi * hz / sampleRate);
    const double b0 = (highPass ? 1 : k) / (1 + k);
    const double b1 = highPass ? -b0 : b0;
    const double a1 = (k - 1) / (k + 1);
    double lastIn = 0;
    double lastOut = 0;
    for (double& s : signal) {
        const double out = b0 * s + b1 * lastIn - a1 * lastOut;
        lastIn = s;
        lastOut = out;
        s = out;
    }
}

Signal weighted(Signal signal) {
    for (const double hz : lowCorners)
        firstOrder(signal, hz, true);
    for (const double hz : highCorners)
        firstOrder(signal, hz, false);
    scale(signal, fromDb(normalisingDb));
    return signal;
}

} // namespace

double loudnessDb(const StereoSignal& signal) {
    const Signal left = weighted(signal.left);
    const Signal right = weighted(signal.right);
    const std::size_t window = frames(loudnessWindowMs);
    double sum = 0;
    double loudest = 0;
    for (std::size_t i = 0; i < left.size(); ++i) {
        sum += left[i] * left[i] + right[i] * right[i];
        if (i >= window) {
            const std::size_t j = i - window;
            sum -= left[j] * left[j] + right[j] * right[j];
        }
        loudest = std::max(loudest, sum);
    }
    return toDb(std::sqrt(loudest / 2 / static_cast<double>(window)));
}

} // namespace morvel::forge
