#include "tools/soundbook/Spectrogram.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace morvel::soundbook {

namespace {

constexpr double sampleRate = 44100;
constexpr double periods = 12;
constexpr double longestWindow = 0.045; // seconds: deep rows still tell one stroke from the next

// A row's filter: a sine and a cosine under a raised cosine.
class Filter {
public:
    Filter(double frequency, std::size_t length)
        : cosine_(length)
        , sine_(length) {
        const double step = 2 * std::numbers::pi / static_cast<double>(length);
        double sum = 0;
        for (std::size_t n = 0; n < length; ++n) {
            const double window = 1 - std::cos(step * (static_cast<double>(n) + 0.5));
            const double phase =
                2 * std::numbers::pi * frequency * static_cast<double>(n) / sampleRate;
            cosine_[n] = static_cast<float>(window * std::cos(phase));
            sine_[n] = static_cast<float>(window * std::sin(phase));
            sum += window;
        }
        scale_ = 2 / sum;
    }

    // The amplitude around frame `centre`.
    float amplitude(std::span<const float> sound, std::ptrdiff_t centre) const {
        const std::ptrdiff_t first = centre - std::ssize(cosine_) / 2;
        const std::ptrdiff_t from = std::max<std::ptrdiff_t>(-first, 0);
        const std::ptrdiff_t to = std::min(std::ssize(cosine_), std::ssize(sound) - first);
        float real = 0;
        float imaginary = 0;
        for (std::ptrdiff_t n = from; n < to; ++n) {
            const float sample = sound[static_cast<std::size_t>(first + n)];
            real += sample * cosine_[static_cast<std::size_t>(n)];
            imaginary += sample * sine_[static_cast<std::size_t>(n)];
        }
        return static_cast<float>(std::hypot(real, imaginary) * scale_);
    }

private:
    std::vector<float> cosine_;
    std::vector<float> sine_;
    double scale_ = 0;
};

} // namespace

Spectrogram::Spectrogram(std::span<const float> sound, const SpectrogramAxes& axes)
    : columns_(axes.columns) {
    const double hop = axes.seconds * sampleRate / static_cast<double>(axes.columns); // frames
    for (std::size_t row = 0; row < axes.rows; ++row) {
        const double height = 1 - (static_cast<double>(row) + 0.5) / static_cast<double>(axes.rows);
        const double frequency = axes.lowest * std::pow(axes.highest / axes.lowest, height);
        // No window is shorter than two columns: nothing falls between them.
        const double window = std::max(
            2 * hop, std::min(periods * sampleRate / frequency, longestWindow * sampleRate));
        const Filter filter(frequency, static_cast<std::size_t>(std::ceil(window)));
        for (std::size_t column = 0; column < axes.columns; ++column)
            amplitudes_.push_back(filter.amplitude(
                sound,
                std::lround(axes.start * sampleRate + (static_cast<double>(column) + 0.5) * hop)));
    }
}

float Spectrogram::loudest() const {
    return amplitudes_.empty() ? 0 : *std::ranges::max_element(amplitudes_);
}

} // namespace morvel::soundbook
