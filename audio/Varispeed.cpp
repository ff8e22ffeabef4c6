#include "audio/Varispeed.h"

#include "audio/sample/PcmBuffer.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace morvel {

namespace {

// A Kaiser window for a stop band 86 dB down, 6 dB in hand for the interpolated coefficients and
// the arithmetic. The stop band begins a little above half the sample rate, so that few
// coefficients keep the pass band wide: what folds back lands above 19 kHz.
constexpr double attenuation = 86;
constexpr double stopBand = 25000;

double kaiserBeta() {
    return 0.1102 * (attenuation - 8.7);
}

double transitionWidth(unsigned taps) {
    return (attenuation - 7.95) / (14.36 * (taps - 1)) * canonicalFormat.sampleRate;
}

// The modified Bessel function of the first kind, order 0.
double bessel(double x) {
    double sum = 1;
    double term = 1;
    for (int k = 1; term > sum * 1e-17; ++k) {
        const double half = x / (2 * k);
        term *= half * half;
        sum += term;
    }
    return sum;
}

} // namespace

Varispeed::Varispeed(VarispeedKernel kernel)
    : kernel_(kernel != nullptr ? kernel : fastestVarispeedKernel()) {
    for (unsigned i = 0; i < filterCount; ++i) {
        const double rate = std::exp2(i / 12.0);
        Filter& filter = filters_[i];
        filter.highestStep = static_cast<std::uint64_t>(rate * positionOne);
        filter.taps = 8 * static_cast<std::uint32_t>(std::lround(minimumTaps * rate / 8));
        const double cutoff = stopBand / rate - transitionWidth(filter.taps) / 2;
        filter.rows = tabulate(filter.taps, cutoff / canonicalFormat.sampleRate);
    }
}

std::vector<Varispeed::CoefficientGroup> Varispeed::tabulate(unsigned taps, double cutoff) {
    std::vector<CoefficientGroup> rows(static_cast<std::size_t>(phaseCount + 1) * taps / 8);
    std::vector<double> row(taps);
    const double half = taps / 2.0;
    const double beta = kaiserBeta();
    const double windowScale = 1 / bessel(beta);
    for (unsigned phase = 0; phase <= phaseCount; ++phase) {
        const double offset = static_cast<double>(phase) / phaseCount;
        double sum = 0;
        for (unsigned tap = 0; tap < taps; ++tap) {
            const double distance = tap - (half - 1) - offset;
            const double across = distance / half;
            const double window = std::abs(across) < 1
                                      ? bessel(beta * std::sqrt(1 - across * across)) * windowScale
                                      : 0;
            const double angle = 2 * std::numbers::pi * cutoff * distance;
            const double sinc = std::abs(angle) < 1e-12 ? 1 : std::sin(angle) / angle;
            row[tap] = sinc * window;
            sum += row[tap];
        }
        for (unsigned tap = 0; tap < taps; ++tap)
            rows[(phase * taps + tap) / 8].coefficients[tap % 8] =
                static_cast<float>(row[tap] / sum);
    }
    return rows;
}

std::uint64_t Varispeed::stepForRate(float rate) noexcept {
    if (!(rate == rate))
        return positionOne;
    return static_cast<std::uint64_t>(
        static_cast<double>(std::clamp(rate, minimumRate, maximumRate)) *
        static_cast<double>(positionOne));
}

const Varispeed::Filter& Varispeed::filterFor(std::uint64_t step) const noexcept {
    for (const Filter& filter : filters_)
        if (step <= filter.highestStep)
            return filter;
    return filters_.back();
}

void Varispeed::gather(const VarispeedSource& source, std::int64_t first,
                       std::uint32_t count) noexcept {
    const auto length = static_cast<std::int64_t>(source.length);
    if (source.loops) {
        std::int64_t at = ((first % length) + length) % length;
        for (std::uint32_t i = 0; i < count; ++i) {
            scratchLeft_[i] = source.left[at];
            scratchRight_[i] = source.right[at];
            at = at + 1 == length ? 0 : at + 1;
        }
        return;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::int64_t at = first + i;
        const bool inside = at >= 0 && at < length;
        scratchLeft_[i] = inside ? source.left[at] : 0;
        scratchRight_[i] = inside ? source.right[at] : 0;
    }
}

void Varispeed::render(const VarispeedSource& source, std::uint64_t position, std::uint64_t step,
                       float* interleaved, std::uint32_t frames) noexcept {
    const bool exact = step == positionOne && (position & (positionOne - 1)) == 0;
    const Filter& filter = filterFor(step);
    const std::uint32_t before = exact ? 0 : filter.taps / 2 - 1;
    const std::uint32_t after = exact ? 0 : filter.taps / 2;
    const auto index = static_cast<std::int64_t>(position >> positionFractionBits);
    const std::uint64_t fraction = position & (positionOne - 1);
    const auto reach =
        static_cast<std::uint32_t>((fraction + (frames - 1) * step) >> positionFractionBits);
    const std::int64_t first = index - before;
    const std::uint32_t count = before + reach + after + 1;
    const float* left = source.left + first;
    const float* right = source.right + first;
    if (first < 0 || static_cast<std::uint64_t>(first) + count > source.length) {
        gather(source, first, count);
        left = scratchLeft_.data();
        right = scratchRight_.data();
    }
    if (exact) {
        for (std::size_t i = 0; i < frames; ++i) {
            interleaved[2 * i] = left[i];
            interleaved[2 * i + 1] = right[i];
        }
        return;
    }
    kernel_({filter.rows.front().coefficients.data(), filter.taps, left, right, fraction, step,
             interleaved, frames});
}

} // namespace morvel
