// OpenAL Soft's mixer doing what the program's renderer does.
#pragma once

#include "bench/Mixer.h"

#include <memory>
#include <span>
#include <string>

namespace morvel::bench {

// A loopback device at our rate, a looping stereo source for each rate, and the best resampler that
// the library has. Only one at a time: its sources live in the process's current context.
class OpenAlMixer : public Mixer {
public:
    // Throws std::runtime_error where the library refuses.
    OpenAlMixer(const PcmBuffer& sound, std::span<const float> rates);
    ~OpenAlMixer() override;
    void render(float* interleaved, std::uint32_t frames) override;
    const std::string& resampler() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace morvel::bench
