#include "tools/themeforge/Signal.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace morvel::forge {

std::size_t frames(double milliseconds) {
    return static_cast<std::size_t>(
        std::max(0.0, std::floor(milliseconds * sampleRate / 1000 + 0.5)));
}

double fromDb(double decibels) {
    return std::pow(10.0, decibels / 20);
}

double toDb(double amplitude) {
    return amplitude > 1e-15 ? 20 * std::log10(amplitude) : -300;
}

double energy(const Signal& signal) {
    double sum = 0;
    for (const double s : signal)
        sum += s * s;
    return sum;
}

double peak(const Signal& signal) {
    double highest = 0;
    for (const double s : signal)
        highest = std::max(highest, std::fabs(s));
    return highest;
}

double peak(const StereoSignal& signal) {
    return std::max(peak(signal.left), peak(signal.right));
}

void scale(Signal& signal, double factor) {
    for (double& s : signal)
        s *= factor;
}

void scale(StereoSignal& signal, double factor) {
    scale(signal.left, factor);
    scale(signal.right, factor);
}

void add(Signal& signal, const Signal& part, double factor, std::size_t at) {
    for (std::size_t i = 0; i < part.size() && at + i < signal.size(); ++i)
        signal[at + i] += factor * part[i];
}

void normaliseEnergy(Signal& signal, double target) {
    const double now = energy(signal);
    if (now > 0)
        scale(signal, std::sqrt(target / now));
}

void fadeOut(Signal& signal, std::size_t length, std::size_t silent) {
    const std::size_t end = signal.size() - std::min(signal.size(), silent);
    const std::size_t start = end - std::min(end, length);
    for (std::size_t i = start; i < end; ++i) {
        const double position = static_cast<double>(i - start) / static_cast<double>(end - start);
        signal[i] *= 0.5 + 0.5 * std::cos(std::numbers::pi * position);
    }
    std::fill(signal.begin() + static_cast<std::ptrdiff_t>(end), signal.end(), 0.0);
}

} // namespace morvel::forge
