// Carries rendered frames from the audio thread to the thread that writes them to a file.
//
// One writer and one reader, no lock. A full ring drops the newest frames and counts them, since
// the audio thread cannot wait.
#pragma once

#include <boost/lockfree/spsc_queue.hpp>

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace morvel {

class RecordingRing {
public:
    explicit RecordingRing(std::size_t frames)
        : samples_(2 * frames) {}

    // Audio thread.
    void write(const float* interleaved, std::uint32_t frames) noexcept {
        const std::size_t room = samples_.write_available() / 2;
        const std::size_t count = room < frames ? room : frames;
        samples_.push(interleaved, 2 * count);
        if (count < frames)
            overflow_.fetch_add(frames - count, std::memory_order_relaxed);
    }

    // The reader's thread: up to `frames` frames; answers how many there were.
    std::size_t read(float* interleaved, std::size_t frames) noexcept {
        return samples_.pop(interleaved, 2 * frames) / 2;
    }

    // Frames that found no room. Any thread.
    std::uint64_t overflowFrames() const noexcept {
        return overflow_.load(std::memory_order_relaxed);
    }

private:
    boost::lockfree::spsc_queue<float> samples_;
    std::atomic<std::uint64_t> overflow_ = 0;
};

} // namespace morvel
