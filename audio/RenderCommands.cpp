#include "audio/RenderCommands.h"

#include <utility>

namespace morvel {

bool RenderCommands::push(StartCommand command, std::shared_ptr<const PcmBuffer> buffer) noexcept {
    command.buffer = buffer.get();
    const auto slot = kept_.keep(std::move(buffer));
    if (!slot) {
        countDropped();
        return false;
    }
    command.keptSlot = *slot;
    if (!queue_.bounded_push(command)) {
        kept_.retire(*slot);
        countDropped();
        return false;
    }
    return true;
}

bool RenderCommands::play(std::size_t voice, std::shared_ptr<const PcmBuffer> buffer, float rate,
                          float volume, bool interrupts) noexcept {
    StartCommand command;
    command.rate = rate;
    command.volume = volume;
    command.generation = generation_.load(std::memory_order_relaxed);
    command.voice = static_cast<std::uint8_t>(voice);
    command.interrupts = interrupts;
    return push(command, std::move(buffer));
}

void RenderCommands::setSubmixVolume(float volume) noexcept {
    submixVolume_.store(volume, std::memory_order_relaxed);
}

bool RenderCommands::startLoop(std::shared_ptr<const PcmBuffer> buffer, float rate,
                               float volume) noexcept {
    setLoopRate(rate);
    setLoopVolume({volume, 0});
    StartCommand command;
    command.rate = rate;
    command.volume = volume;
    command.generation = startedLoop_.fetch_add(1, std::memory_order_relaxed) + 1;
    command.voice = voiceCount;
    command.interrupts = true;
    return push(command, std::move(buffer));
}

void RenderCommands::setLoopRate(float rate) noexcept {
    loopRate_.store(rate, std::memory_order_relaxed);
}

void RenderCommands::setLoopVolume(RampedVolume volume) noexcept {
    loopVolume_.store(volume, std::memory_order_relaxed);
}

void RenderCommands::stopLoop() noexcept {
    stoppedLoop_.store(startedLoop_.load(std::memory_order_relaxed), std::memory_order_release);
}

void RenderCommands::silence() noexcept {
    stopLoop();
    silencedBefore_.store(generation_.load(std::memory_order_relaxed) + 1,
                          std::memory_order_relaxed);
    expire();
}

void RenderCommands::forget() noexcept {
    stopLoop();
    forgottenBefore_.store(generation_.load(std::memory_order_relaxed) + 1,
                           std::memory_order_relaxed);
    expire();
}

} // namespace morvel
