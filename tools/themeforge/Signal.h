// Sound under construction, and the small arithmetic every unit of the synthesiser shares.
//
// Sums run in order, one sample after another: the result of a render does not depend on the
// machine.
#pragma once

#include <cstddef>
#include <vector>

namespace morvel::forge {

inline constexpr double sampleRate = 44100; // frames a second, of everything generated here

using Signal = std::vector<double>; // one channel; full scale is 1

struct StereoSignal {
    Signal left;
    Signal right; // as long as `left`

    std::size_t length() const { return left.size(); }
};

std::size_t frames(double milliseconds); // nearest whole number, at least 0
double fromDb(double decibels);          // amplitude ratio
double toDb(double amplitude);           // -300 for silence

double energy(const Signal& signal); // sum of squares
double peak(const Signal& signal);
double peak(const StereoSignal& signal);

void scale(Signal& signal, double factor);
void scale(StereoSignal& signal, double factor);

// Adds `factor` times `part` to `signal` from frame `at` on; what would lie past the end is
// dropped.
void add(Signal& signal, const Signal& part, double factor = 1, std::size_t at = 0);

// Gives the signal this energy; silence stays silent.
void normaliseEnergy(Signal& signal, double target = 1);

// Ends the signal in a raised-cosine fade of this many frames followed by `silent` frames of zero.
void fadeOut(Signal& signal, std::size_t length, std::size_t silent);

} // namespace morvel::forge
