// Loudness of a stretch of sound by ITU-R BS.1770-4, independent of the code that levels sounds.
#pragma once

#include <span>

namespace morvel::measure {

// Integrated loudness, LUFS, of interleaved stereo at 44,100 Hz: K-weighted, in blocks of 400 ms
// that overlap by three quarters, gated at -70 LUFS and at 10 LU below what is left. -70 for what
// is softer or shorter than a block.
double integratedLoudness(std::span<const float> interleaved);

} // namespace morvel::measure
