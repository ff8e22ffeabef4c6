// Loudness as the synthesiser levels by it: the A-weighted RMS of the loudest 50 ms.
#pragma once

#include "tools/themeforge/Signal.h"

namespace morvel::forge {

inline constexpr double loudnessWindowMs = 50;

// dB re full scale, power averaged over the two channels. A signal shorter than the window counts
// as followed by silence.
double loudnessDb(const StereoSignal& signal);

} // namespace morvel::forge
