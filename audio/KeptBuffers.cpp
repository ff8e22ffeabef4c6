#include "audio/KeptBuffers.h"

#include <utility>

namespace morvel {

std::optional<std::uint16_t> KeptBuffers::keep(std::shared_ptr<const PcmBuffer> buffer) noexcept {
    for (std::size_t tried = 0; tried < capacity; ++tried) {
        const std::size_t index = next_.fetch_add(1, std::memory_order_relaxed) % capacity;
        Slot& slot = slots_[index];
        State state = slot.state.load(std::memory_order_relaxed);
        if (state != State::free && state != State::retired)
            continue;
        if (!slot.state.compare_exchange_strong(state, State::claimed, std::memory_order_acquire))
            continue;
        slot.buffer = std::move(buffer);
        slot.state.store(State::held, std::memory_order_release);
        return static_cast<std::uint16_t>(index);
    }
    return std::nullopt;
}

void KeptBuffers::collect() noexcept {
    for (Slot& slot : slots_) {
        State state = State::retired;
        if (!slot.state.compare_exchange_strong(state, State::claimed, std::memory_order_acquire))
            continue;
        slot.buffer.reset();
        slot.state.store(State::free, std::memory_order_release);
    }
}

std::size_t KeptBuffers::heldCount() const noexcept {
    std::size_t count = 0;
    for (const Slot& slot : slots_)
        count += slot.state.load(std::memory_order_relaxed) == State::free ? 0 : 1;
    return count;
}

} // namespace morvel
