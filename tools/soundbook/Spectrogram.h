// What a sound holds at which time and frequency, with the sharpness that each frequency allows.
//
// Every row is a filter of its own, with a window that holds the same number of periods wherever
// that is sensible: a deep tone is told from its neighbour, and a click stays as short as it is.
// Rows of one transform of fixed length can do only one of the two on a logarithmic axis.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace morvel::soundbook {

struct SpectrogramAxes {
    double start = 0;   // seconds from the sound's beginning to the first column; may be negative
    double seconds = 1; // from the first column to the end of the last
    std::size_t columns = 1;
    double lowest = 40;     // Hz, at the lower edge of the last row
    double highest = 16000; // Hz, at the upper edge of the first row
    std::size_t rows = 1;
};

// Amplitudes: a sine that fills the window has its own. Row after row, the highest frequency first.
class Spectrogram {
public:
    // Of `sound`, one channel at 44,100 Hz; before its beginning and after its end is silence.
    Spectrogram(std::span<const float> sound, const SpectrogramAxes& axes);

    float at(std::size_t row, std::size_t column) const {
        return amplitudes_[row * columns_ + column];
    }
    float loudest() const;

private:
    std::size_t columns_;
    std::vector<float> amplitudes_;
};

} // namespace morvel::soundbook
