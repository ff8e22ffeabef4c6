// Players of one stereo sound at another rate, without end: the program's varispeed, and what other
// libraries have for it. All are given the same sound and asked for the same blocks.
#pragma once

#include "audio/VarispeedKernel.h"
#include "bench/Mixer.h"

#include <memory>

namespace morvel::bench {

std::unique_ptr<Mixer> varispeedPlayer(std::shared_ptr<const PcmBuffer> sound, float rate,
                                       VarispeedKernel kernel = nullptr);

// `converter` as in samplerate.h. Throws std::runtime_error where the library refuses.
std::unique_ptr<Mixer> libsampleratePlayer(const PcmBuffer& sound, float rate, int converter);

// `recipe` as in soxr.h. Throws likewise.
std::unique_ptr<Mixer> soxrPlayer(const PcmBuffer& sound, float rate, unsigned long recipe);

} // namespace morvel::bench
