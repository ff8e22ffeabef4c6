// Keeps the buffers that the audio thread plays alive, and lets go of them on other threads.
//
// The audio thread only ever sees plain pointers. When it is done with one it says so by raising a
// flag; the memory is given back by whoever keeps or collects next. Room is bounded and made once.
#pragma once

#include "audio/sample/PcmBuffer.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

namespace morvel {

class KeptBuffers {
public:
    static constexpr std::size_t capacity = 512;

    // Holds a reference until the slot is retired. Nothing when all slots are in use. Any thread
    // but the audio thread; no lock, no allocation.
    std::optional<std::uint16_t> keep(std::shared_ptr<const PcmBuffer> buffer) noexcept;

    // The buffer of a slot that is kept and not retired. Any thread that was handed the slot.
    const PcmBuffer* buffer(std::uint16_t slot) const noexcept { return slots_[slot].buffer.get(); }

    // The slot's buffer is not read any more. Any thread.
    void retire(std::uint16_t slot) noexcept {
        slots_[slot].state.store(State::retired, std::memory_order_release);
    }

    // Lets go of what has been retired. Any thread but the audio thread.
    void collect() noexcept;

    // Slots whose buffer is still referenced, retired or not.
    std::size_t heldCount() const noexcept;

private:
    enum class State : std::uint8_t { free, claimed, held, retired };
    struct Slot {
        std::atomic<State> state = State::free;
        std::shared_ptr<const PcmBuffer> buffer; // the claimer's
    };

    std::array<Slot, capacity> slots_;
    std::atomic<std::size_t> next_ = 0;
};

} // namespace morvel
