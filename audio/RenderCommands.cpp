#include "audio/RenderCommands.h"

#include <utility>

namespace morvel {

std::optional<std::uint16_t>
RenderCommands::keep(std::shared_ptr<const PcmBuffer> buffer) noexcept {
    const auto slot = kept_.keep(std::move(buffer));
    if (!slot)
        countDropped();
    return slot;
}

bool RenderCommands::play(std::size_t voice, std::shared_ptr<const PcmBuffer> buffer, float rate,
                          float volume, bool interrupts, double askedAt) noexcept {
    StartCommand command;
    command.buffer = buffer.get();
    command.askedAt = askedAt;
    command.rate = rate;
    command.volume = volume;
    command.generation = generation_.load(std::memory_order_relaxed);
    command.voice = static_cast<std::uint8_t>(voice);
    command.interrupts = interrupts;
    const auto slot = keep(std::move(buffer));
    if (!slot)
        return false;
    command.keptSlot = *slot;
    if (queue_.push(command))
        return true;
    kept_.retire(*slot);
    countDropped();
    return false;
}

void RenderCommands::setPatience(double patience, double until) noexcept {
    patientUntil_.store(until, std::memory_order_relaxed);
    patience_.store(patience, std::memory_order_relaxed);
}

void RenderCommands::setSubmixVolume(float volume) noexcept {
    submixVolume_.store(volume, std::memory_order_relaxed);
}

bool RenderCommands::startLoop(std::shared_ptr<const PcmBuffer> buffer, float rate,
                               float volume) noexcept {
    setLoopRate(rate);
    setLoopVolume({volume, 0});
    const std::uint32_t generation = startedLoop_.load(std::memory_order_relaxed) + 1;
    startedLoop_.store(generation, std::memory_order_relaxed);
    const auto slot = keep(std::move(buffer));
    putWaitingLoop(slot ? WaitingLoop{generation, *slot, 1} : WaitingLoop{});
    return slot.has_value();
}

// The audio side may take the one before at the same time: whoever gets it retires it.
void RenderCommands::putWaitingLoop(WaitingLoop loop) noexcept {
    const WaitingLoop before = waitingLoop_.exchange(loop, std::memory_order_acq_rel);
    if (before.present != 0)
        kept_.retire(before.keptSlot);
}

bool RenderCommands::nextLoop(StartCommand& command) noexcept {
    if (waitingLoop_.load(std::memory_order_relaxed).present == 0)
        return false;
    const WaitingLoop loop = waitingLoop_.exchange(WaitingLoop{}, std::memory_order_acq_rel);
    if (loop.present == 0)
        return false;
    command.buffer = kept_.buffer(loop.keptSlot);
    command.rate = loopRate();
    command.volume = loopVolume().volume;
    command.generation = loop.generation;
    command.keptSlot = loop.keptSlot;
    command.voice = voiceCount;
    command.interrupts = true;
    return true;
}

void RenderCommands::setLoopRate(float rate) noexcept {
    loopRate_.store(rate, std::memory_order_relaxed);
}

void RenderCommands::setLoopVolume(RampedVolume volume) noexcept {
    loopVolume_.store(volume, std::memory_order_relaxed);
}

void RenderCommands::stopLoop() noexcept {
    stoppedLoop_.store(startedLoop_.load(std::memory_order_relaxed), std::memory_order_release);
    putWaitingLoop({});
}

void RenderCommands::silence() noexcept {
    stopLoop();
    silencedBefore_.store(generation_.load(std::memory_order_relaxed) + 1,
                          std::memory_order_relaxed);
    expire();
}

void RenderCommands::forget() noexcept {
    stopLoop();
    forgetSounds();
}

void RenderCommands::forgetSounds() noexcept {
    forgottenBefore_.store(generation_.load(std::memory_order_relaxed) + 1,
                           std::memory_order_relaxed);
    expire();
}

} // namespace morvel
