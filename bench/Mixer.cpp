#include "bench/Mixer.h"

#include <algorithm>
#include <random>
#include <utility>

namespace morvel::bench {

std::shared_ptr<const PcmBuffer> noise(float amplitude) {
    auto buffer = std::make_shared<PcmBuffer>();
    std::mt19937 generator(7);
    for (auto& channel : buffer->channels) {
        channel.resize(44100);
        for (float& sample : channel)
            sample = amplitude * (static_cast<float>(generator()) / 2147483648.0F - 1.0F);
    }
    return buffer;
}

OwnMixer::OwnMixer(std::shared_ptr<const PcmBuffer> sound, std::span<const float> rates,
                   VarispeedKernel kernel)
    : sound_(std::move(sound))
    , rates_(rates.begin(), rates.end())
    , renderer_(commands_, kernel) {
    if (rates_.size() > voiceCount)
        commands_.startLoop(sound_, rates_[voiceCount], voiceVolume);
}

// Each voice starts anew before its sound ends.
void OwnMixer::render(float* interleaved, std::uint32_t frames) {
    if (frames_ >= restart_) {
        commands_.collect();
        for (std::size_t voice = 0; voice < std::min(rates_.size(), voiceCount); ++voice)
            commands_.play(voice, sound_, rates_[voice], voiceVolume, true);
        restart_ = frames_ + sound_->frameLength() * 4 / 5;
    }
    renderer_.render(interleaved, frames);
    frames_ += frames;
}

} // namespace morvel::bench
