#include "audio/Renderer.h"

#include "platform/FlushDenormals.h"

#include <algorithm>
#include <thread>

namespace morvel {

Renderer::Renderer(RenderCommands& commands, VarispeedKernel kernel)
    : commands_(commands)
    , varispeed_(kernel)
    , submix_(commands.submixVolume())
    , generation_(commands.generation()) {
    voices_.reserve(voiceCount + 1);
    for (std::size_t i = 0; i <= voiceCount; ++i)
        voices_.emplace_back(commands_, varispeed_, i == voiceCount);
}

void Renderer::render(float* interleaved, std::uint32_t frames) noexcept {
    rendering_.store(true);
    if (closed_.load()) {
        std::fill_n(interleaved, stereoSamples(frames), 0.0F);
        rendering_.store(false);
        return;
    }
    {
        const FlushDenormals flush;
        for (std::uint32_t done = 0; done < frames;) {
            const std::uint32_t count = std::min(frames - done, blockFrames);
            renderBlock(interleaved + stereoSamples(done), count);
            done += count;
        }
    }
    if (RecordingRing* const ring = recording_.load())
        ring->write(interleaved, frames);
    commands_.reportRendered(frames);
    rendering_.store(false);
}

void Renderer::renderBlock(float* interleaved, std::uint32_t frames) noexcept {
    applyCommands();
    submix_.moveTo({commands_.submixVolume(), shortRampFrames});
    std::fill_n(interleaved, stereoSamples(frames), 0.0F);
    bool silent = true;
    for (std::size_t i = 0; i < voices_.size(); ++i) {
        Voice& voice = voices_[i];
        if (!voice.isSilent()) {
            silent = false;
            voice.mixInto(interleaved, frames);
        }
        commands_.reportPlaying(i, voice.isPlaying());
    }
    submix_.apply(interleaved, frames);
    if (!silent || !limiter_.isIdle())
        limiter_.process(interleaved, frames);
}

void Renderer::followGeneration() noexcept {
    const std::uint32_t generation = commands_.generation();
    if (generation == generation_)
        return;
    const auto isNew = [this](std::uint32_t limit) {
        return static_cast<std::int32_t>(limit - generation_) > 0;
    };
    const bool forget = isNew(commands_.forgottenBefore());
    const bool silence = isNew(commands_.silencedBefore());
    generation_ = generation;
    if (forget)
        limiter_.clear();
    for (std::size_t i = 0; i < voices_.size(); ++i) {
        Voice& voice = voices_[i];
        if (i == voiceCount && !loopIsStopped(voice.generation()))
            continue;
        if (forget)
            voice.cut();
        else if (silence)
            voice.stop();
    }
}

// The difference tells older from newer also when the number wraps round.
bool Renderer::loopIsStopped(std::uint32_t generation) const noexcept {
    return static_cast<std::int32_t>(commands_.stoppedLoop() - generation) >= 0;
}

void Renderer::applyCommands() noexcept {
    followGeneration();
    // The queue's own length bounds the work: what producers add meanwhile waits for the next
    // block.
    StartCommand command;
    for (std::size_t i = 0; i < RenderCommands::queueCapacity && commands_.next(command); ++i) {
        // A silencing that came just now is older than a sound that was asked for after it.
        followGeneration();
        start(command);
    }
    startLoop();
    updateLoop();
}

void Renderer::start(const StartCommand& command) noexcept {
    // A sound asked for after a silencing that this block has not seen yet is of a newer
    // generation; the difference tells older from newer also when the number wraps round.
    if (static_cast<std::int32_t>(generation_ - command.generation) > 0 || isTooLate(command)) {
        commands_.retire(command.keptSlot);
        return;
    }
    voices_[command.voice].start(command);
}

bool Renderer::isTooLate(const StartCommand& command) const noexcept {
    return clock_ != nullptr && commands_.isTooLate(command, clock_->now());
}

void Renderer::startLoop() noexcept {
    StartCommand command;
    if (!commands_.nextLoop(command))
        return;
    if (loopIsStopped(command.generation)) {
        commands_.retire(command.keptSlot);
        return;
    }
    voices_[voiceCount].start(command);
}

void Renderer::updateLoop() noexcept {
    Voice& loop = voices_[voiceCount];
    if (!loop.isPlaying())
        return;
    if (loopIsStopped(loop.generation())) {
        loop.stop();
        return;
    }
    loop.setRate(commands_.loopRate());
    RampedVolume volume = commands_.loopVolume();
    volume.rampFrames = std::max(volume.rampFrames, shortRampFrames);
    loop.moveVolume(volume);
}

void Renderer::setRecording(RecordingRing* ring) noexcept {
    recording_.store(ring);
    awaitBlockEnd();
}

void Renderer::close() noexcept {
    closed_.store(true);
    awaitBlockEnd();
}

void Renderer::awaitBlockEnd() const noexcept {
    while (rendering_.load())
        std::this_thread::yield();
}

} // namespace morvel
