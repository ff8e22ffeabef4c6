// A bounded queue without locks: any number of threads push, one pops.
//
// Each cell carries the turn in which it may be written and then read, so a pusher only ever
// contends for the number of the next turn. A pusher that is interrupted between taking its turn
// and filling its cell makes the popper find the queue empty until it goes on; nobody waits for it.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>

namespace morvel {

template <typename T, std::size_t capacity>
class CommandQueue {
    static_assert((capacity & (capacity - 1)) == 0, "turns must wrap round with the cells");

public:
    CommandQueue() {
        for (std::size_t i = 0; i < capacity; ++i)
            cells_[i].turn.store(i, std::memory_order_relaxed);
    }

    // False when the queue is full. Any thread.
    bool push(const T& value) noexcept {
        std::size_t turn = pushTurn_.load(std::memory_order_relaxed);
        for (;;) {
            Cell& cell = cells_[turn % capacity];
            const std::size_t cellTurn = cell.turn.load(std::memory_order_acquire);
            if (cellTurn == turn) {
                if (pushTurn_.compare_exchange_weak(turn, turn + 1, std::memory_order_relaxed)) {
                    cell.value = value;
                    cell.turn.store(turn + 1, std::memory_order_release);
                    return true;
                }
            } else if (static_cast<std::ptrdiff_t>(cellTurn - turn) < 0) {
                return false; // still holds what was pushed one round before
            } else {
                turn = pushTurn_.load(std::memory_order_relaxed);
            }
        }
    }

    // False when there is nothing. One thread.
    bool pop(T& value) noexcept {
        Cell& cell = cells_[popTurn_ % capacity];
        if (cell.turn.load(std::memory_order_acquire) != popTurn_ + 1)
            return false;
        value = cell.value;
        cell.turn.store(popTurn_ + capacity, std::memory_order_release);
        ++popTurn_;
        return true;
    }

private:
    struct Cell {
        std::atomic<std::size_t> turn = 0;
        T value{};
    };

    // What the pushers write and what the popper writes, each on cache lines of its own.
    alignas(64) std::array<Cell, capacity> cells_;
    alignas(64) std::atomic<std::size_t> pushTurn_ = 0;
    alignas(64) std::size_t popTurn_ = 0;

    static_assert(std::atomic<std::size_t>::is_always_lock_free);
};

} // namespace morvel
