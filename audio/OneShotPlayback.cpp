// AudioEngine: sounds that play once.

#include "audio/AudioEngineState.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <functional>

namespace morvel {

void AudioEngine::play(SoundCategory category, float volume, bool pitchJitter) {
    playOnce(category, volume, pitchJitter, state_->traceEnabled);
}

void AudioEngine::playTraced(SoundCategory category, float volume, bool pitchJitter) {
    playOnce(category, volume, pitchJitter, true);
}

void AudioEngine::playOnce(SoundCategory category, float volume, bool pitchJitter, bool trace) {
    if (state_->muted)
        return;
    const auto sample = resolve(category);
    if (!sample) {
        warnMissing(category);
        return;
    }
    // Before start() looks at the output: see keepHouse().
    state_->lastSound = state_->services.clock.now();
    start();
    const float rate =
        pitchJitter ? jitterRate(sample->pitchJitterCents, state_->services.random) : 1.0F;
    const double expectedDuration = static_cast<double>(sample->buffer->frameLength()) /
                                    canonicalFormat.sampleRate /
                                    std::max(static_cast<double>(rate), 0.01);
    const VoicePool::Handout handout = acquireVoice(expectedDuration);
    const float playerVolume = clampedVolume(volume * sample->gain);
    schedule(*sample, handout, rate, playerVolume);
    if (trace)
        tracePlay(category, sample->buffer.get(), rate, playerVolume);
}

void AudioEngine::schedule(const ResolvedSample& sample, VoicePool::Handout handout, float rate,
                           float volume) {
    State::VoiceSettings& voice = state_->voices[handout.voice];
    voice.rate.store(rate, std::memory_order_relaxed);
    voice.volume.store(volume, std::memory_order_relaxed);
    voice.interrupted.store(handout.stolen, std::memory_order_relaxed);
    if (outputTakesSounds())
        state_->rendering->commands.play(handout.voice, sample.buffer, rate, volume, handout.stolen,
                                         state_->services.clock.now());
}

void AudioEngine::tracePlay(SoundCategory category, const PcmBuffer* buffer, float rate,
                            float volume) {
    const std::size_t tag = std::hash<const PcmBuffer*>{}(buffer)&0xFFFF;
    state_->services.log.line(
        fmt::format("TRACE play {} variant={:X} rate={:.4f} vol={:.2f} active={}",
                    rawValue(category), tag, rate, volume, activeVoiceCount()));
}

VoicePool::Handout AudioEngine::acquireVoice(double expectedDuration) {
    return state_->pool.acquire(state_->services.clock.now(), expectedDuration);
}

float AudioEngine::jitterRate(float cents, RandomSource& random) {
    if (!(cents > 0))
        return 1.0F;
    constexpr std::uint32_t steps = 1U << 24;
    const std::uint32_t n = random.uniform(steps);
    const float fraction = static_cast<float>(n) / static_cast<float>(steps);
    const float offset = n == steps ? cents : 2 * cents * fraction - cents;
    // An endless spread has no middle to start from.
    const float rate = std::exp2(offset / 1200.0F);
    return rate == rate ? std::clamp(rate, minimumRate, maximumRate) : 1.0F;
}

void AudioEngine::warnMissing(SoundCategory category) {
    if (state_->pool.warnOnce(category))
        state_->services.log.line(
            fmt::format("No sample for category '{}' in the current theme", rawValue(category)));
}

int AudioEngine::activeVoiceCount() const {
    return static_cast<int>(state_->pool.activeCount(state_->services.clock.now()));
}

std::size_t AudioEngine::cursor() const {
    return state_->pool.cursor();
}

std::array<AudioEngine::VoiceState, voiceCount> AudioEngine::voices() const {
    const auto freeAt = state_->pool.freeAt();
    std::array<VoiceState, voiceCount> result;
    for (std::size_t i = 0; i < voiceCount; ++i) {
        const State::VoiceSettings& settings = state_->voices[i];
        result[i] = {freeAt[i], settings.rate, settings.volume, settings.interrupted,
                     state_->rendering->commands.voicePlaying(i)};
    }
    return result;
}

} // namespace morvel
