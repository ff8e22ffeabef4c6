// AudioEngine: the one sound that repeats until it is stopped. Main thread.

#include "audio/AudioEngineState.h"

#include <algorithm>

namespace morvel {

namespace {

constexpr double fadeInterval = 1.0 / 60;
// A fade moves once an interval; in between the voice itself goes on in a straight line.
constexpr auto fadeRampFrames =
    static_cast<std::uint32_t>(fadeInterval * canonicalFormat.sampleRate);

float clampedRate(float rate) {
    return rate == rate ? std::clamp(rate, minimumRate, maximumRate) : 1.0F;
}

} // namespace

void AudioEngine::startLoop(SoundCategory category, float gain, float rate) {
    State& state = *state_;
    if (state.muted)
        return;
    if (state.loop.category == category) {
        updateLoop(gain, rate);
        return;
    }
    const auto sample = resolve(category);
    if (!sample) {
        warnMissing(category);
        return;
    }
    state.lastSound = state.services.clock.now();
    start();
    state.loop.fadeTimer.reset();
    state.rendering->commands.stopLoop();
    state.loop.category = category;
    state.loop.gain = gain;
    state.loop.rate = rate;
    state.loop.volume = clampedVolume(gain * sample->gain);
    // When lost output is back the loop is started anew. Any other output plays it once it runs.
    if (state.services.output.state() != AudioOutputState::lost)
        state.rendering->commands.startLoop(sample->buffer, clampedRate(rate), state.loop.volume);
}

void AudioEngine::updateLoop(float gain, float rate) {
    State& state = *state_;
    if (!state.loop.category)
        return;
    state.loop.fadeTimer.reset();
    state.loop.gain = gain;
    state.loop.rate = rate;
    const auto sample = resolve(*state.loop.category);
    state.loop.volume = clampedVolume(gain * (sample ? sample->gain : 1.0F));
    state.rendering->commands.setLoopRate(clampedRate(rate));
    state.rendering->commands.setLoopVolume({state.loop.volume, shortRampFrames});
}

void AudioEngine::stopLoop(double fadeOut) {
    State::Loop& loop = state_->loop;
    if (!loop.category)
        return;
    loop.category.reset();
    loop.fadeTimer.reset();
    if (!(fadeOut > 0)) {
        state_->rendering->commands.stopLoop();
        return;
    }
    loop.fadeFrom = loop.volume;
    loop.fadeStart = state_->services.clock.now();
    loop.fadeSeconds = fadeOut;
    loop.fadeTimer = state_->services.scheduler.repeating(fadeInterval, [this] { fadeTick(); });
}

void AudioEngine::fadeTick() {
    State::Loop& loop = state_->loop;
    RenderCommands& commands = state_->rendering->commands;
    const double progress = (state_->services.clock.now() - loop.fadeStart) / loop.fadeSeconds;
    if (progress >= 1) {
        loop.volume = 0;
        commands.setLoopVolume({0, shortRampFrames});
        commands.stopLoop();
        loop.fadeTimer.reset(); // the last statement: this function belongs to the timer
        return;
    }
    loop.volume = loop.fadeFrom * static_cast<float>(1 - progress);
    commands.setLoopVolume({loop.volume, fadeRampFrames});
}

std::optional<SoundCategory> AudioEngine::loopCategory() const {
    return state_->loop.category;
}

float AudioEngine::loopGain() const {
    return state_->loop.gain;
}

float AudioEngine::loopRate() const {
    return state_->loop.rate;
}

float AudioEngine::loopVolume() const {
    return state_->loop.volume;
}

} // namespace morvel
