// Something that plays sounds without end, and the program's renderer as one such.
#pragma once

#include "audio/Renderer.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace morvel::bench {

// Within a semitone of 1, as keys are played, and a whole number of 4096ths, so that every library
// plays exactly these.
inline constexpr std::array<float, 9> oddRates = {3863 / 4096.0F, 3921 / 4096.0F, 3977 / 4096.0F,
                                                  4043 / 4096.0F, 4149 / 4096.0F, 4207 / 4096.0F,
                                                  4273 / 4096.0F, 4339 / 4096.0F, 4027 / 4096.0F};

// Every voice is heard at this volume.
inline constexpr float voiceVolume = 0.8F;

// A second of stereo noise.
std::shared_ptr<const PcmBuffer> noise(float amplitude);

class Mixer {
public:
    Mixer() = default;
    virtual ~Mixer() = default;
    Mixer(const Mixer&) = delete;
    Mixer& operator=(const Mixer&) = delete;

    // Fills `frames` interleaved stereo frames.
    virtual void render(float* interleaved, std::uint32_t frames) = 0;
};

// The program's: a voice for each rate, the ninth of them the loop. A null kernel means the fastest
// one.
class OwnMixer : public Mixer {
public:
    OwnMixer(std::shared_ptr<const PcmBuffer> sound, std::span<const float> rates,
             VarispeedKernel kernel = nullptr);
    void render(float* interleaved, std::uint32_t frames) override;

private:
    std::shared_ptr<const PcmBuffer> sound_;
    std::vector<float> rates_;
    RenderCommands commands_;
    Renderer renderer_;
    std::uint64_t frames_ = 0;
    std::uint64_t restart_ = 0;
};

} // namespace morvel::bench
