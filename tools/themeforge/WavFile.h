// The one file format the shipped sounds have: WAV, 44,100 Hz, stereo, 16 bits, canonical header.
#pragma once

#include "tools/themeforge/Random.h"
#include "tools/themeforge/Signal.h"

#include <string>

namespace morvel::forge {

// The bytes of the file. Samples are rounded after adding triangular dither of +-1 step from
// `dither`, and held within the range of the format.
std::string wavBytes(const StereoSignal& sound, Random dither);

} // namespace morvel::forge
