// The boundary between the threads that ask for sound and the one that makes it.
//
// Two sides meet here and nowhere else. The control side is every thread but the audio thread: the
// key tap's thread and the main thread play sounds, the main thread alone does the rest. The audio
// side is whoever calls Renderer::render(), one thread at a time: a device's thread, a test, an
// offline run.
//
// - Sounds to start are events: each must arrive, once, in order. They travel in a bounded
//   lock-free queue made up front. Any control thread may push, the audio side pops. A full queue
//   drops the newest sound and counts it; nobody ever waits for room. One command holds all that
//   starting a sound needs, so no half of a change is ever heard.
// - Levels, rates and stops are states: only the newest matters, and it must not be lost to a full
//   queue (a mute least of all). They are atomics that the audio side reads once a block.
// - The loop to play is a state as well: a place for one that has not begun, which the audio side
//   empties and the next loop or a stop replaces. It is not lost to a full queue, does not grow
//   old, and begins with the level and rate of then, whenever rendering resumes.
// - Silencing everything is a generation number. Sounds carry the number under which they were
//   asked for; when it moves on, the audio side throws away what is still queued under an older one
//   and, if so asked, stops what plays. So it takes effect even when nobody renders at the time,
//   and no backlog is played late when rendering resumes. The loop ends by its own stop alone.
// - Sounds also carry the time at which they were asked for; the audio side throws away what it
//   finds too late.
// - Upward go atomics: which voices play, how many frames were rendered, what was dropped.
// - Buffers are shared and immutable. The control side keeps each one alive until the audio side
//   has said that it is done with it (KeptBuffers); the audio side never frees anything.
//
// Nothing here blocks, allocates or makes a system call, on either side, but for collect().
#pragma once

#include "audio/CommandQueue.h"
#include "audio/KeptBuffers.h"
#include "audio/sample/PcmBuffer.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>

namespace morvel {

inline constexpr std::size_t voiceCount = 8;

// A volume and how many frames the way to it takes.
struct RampedVolume {
    float volume = 0;
    std::uint32_t rampFrames = 0;
};

// Long enough to make no click, short enough to seem immediate: about a millisecond.
inline constexpr std::uint32_t shortRampFrames = 44;

// Of a sound that is never too late.
inline constexpr double atNoTime = std::numeric_limits<double>::infinity();

struct StartCommand {
    const PcmBuffer* buffer = nullptr;
    double askedAt = atNoTime; // in seconds of the renderer's clock
    float rate = 1;
    float volume = 1;
    std::uint32_t generation = 0; // of everything, or of the loop
    std::uint16_t keptSlot = 0;
    std::uint8_t voice = 0;
    bool interrupts = false; // drop what the voice plays, else play after it
};

class RenderCommands {
public:
    static constexpr std::size_t queueCapacity = 256;

    // ---- Control side, any control thread. The answer is false when the sound was dropped.

    // Plays `buffer` once on voice 0 to voiceCount - 1. Volume 0 to 1.
    bool play(std::size_t voice, std::shared_ptr<const PcmBuffer> buffer, float rate, float volume,
              bool interrupts, double askedAt = atNoTime) noexcept;
    // A sound that has not begun `patience` seconds after it was asked for is not played any more,
    // unless it is not later than `until`. Any number of times.
    void setPatience(double patience, double until) noexcept;
    void setSubmixVolume(float volume) noexcept;
    // Forgets what is queued and not begun; what sounds goes on.
    void expire() noexcept { generation_.fetch_add(1, std::memory_order_acq_rel); }
    void countDropped() noexcept { dropped_.fetch_add(1, std::memory_order_relaxed); }

    // ---- Control side, main thread only.

    // Replaces the running loop, if any, and one that has not begun. The answer is false when the
    // loop could not be kept.
    bool startLoop(std::shared_ptr<const PcmBuffer> buffer, float rate, float volume) noexcept;
    void setLoopRate(float rate) noexcept;
    void setLoopVolume(RampedVolume volume) noexcept;
    void stopLoop() noexcept;
    // Stops every voice and the loop, and forgets what is queued.
    void silence() noexcept;
    // The same for when nobody renders: nothing of what was playing is heard when rendering
    // resumes, not even the end of a fade.
    void forget() noexcept;
    // The same but for the loop, which plays on or begins when rendering resumes.
    void forgetSounds() noexcept;
    // Gives back the memory of buffers that are played out.
    void collect() noexcept { kept_.collect(); }

    // ---- Control side, any control thread: what comes up.

    bool voicePlaying(std::size_t voice) const noexcept {
        return playing_[voice].load(std::memory_order_relaxed);
    }
    bool loopPlaying() const noexcept { return voicePlaying(voiceCount); }
    std::uint64_t renderedFrames() const noexcept {
        return rendered_.load(std::memory_order_relaxed);
    }
    // Sounds that were asked for and could not be queued.
    std::uint64_t droppedCount() const noexcept { return dropped_.load(std::memory_order_relaxed); }
    std::size_t heldBufferCount() const noexcept { return kept_.heldCount(); }

    // ---- Audio side.

    bool next(StartCommand& command) noexcept { return queue_.pop(command); }
    bool isTooLate(const StartCommand& command, double now) const noexcept {
        return now - command.askedAt > patience_.load(std::memory_order_relaxed) &&
               now > patientUntil_.load(std::memory_order_relaxed);
    }
    // The loop that is to begin, for the loop voice.
    bool nextLoop(StartCommand& command) noexcept;
    std::uint32_t generation() const noexcept {
        return generation_.load(std::memory_order_acquire);
    }
    // Sounds older than this generation are to stop.
    std::uint32_t silencedBefore() const noexcept {
        return silencedBefore_.load(std::memory_order_relaxed);
    }
    // Sounds older than this generation are not to be heard any more at all.
    std::uint32_t forgottenBefore() const noexcept {
        return forgottenBefore_.load(std::memory_order_relaxed);
    }
    // Loops up to this generation are stopped.
    std::uint32_t stoppedLoop() const noexcept {
        return stoppedLoop_.load(std::memory_order_acquire);
    }
    float submixVolume() const noexcept { return submixVolume_.load(std::memory_order_relaxed); }
    float loopRate() const noexcept { return loopRate_.load(std::memory_order_relaxed); }
    RampedVolume loopVolume() const noexcept { return loopVolume_.load(std::memory_order_relaxed); }
    void retire(std::uint16_t keptSlot) noexcept { kept_.retire(keptSlot); }
    void reportPlaying(std::size_t voice, bool playing) noexcept {
        playing_[voice].store(playing, std::memory_order_relaxed);
    }
    void reportRendered(std::uint32_t frames) noexcept {
        rendered_.fetch_add(frames, std::memory_order_relaxed);
    }

private:
    struct WaitingLoop {
        std::uint32_t generation = 0;
        std::uint16_t keptSlot = 0;
        std::uint16_t present = 0;
    };

    std::optional<std::uint16_t> keep(std::shared_ptr<const PcmBuffer> buffer) noexcept;
    void putWaitingLoop(WaitingLoop loop) noexcept;

    CommandQueue<StartCommand, queueCapacity> queue_;
    KeptBuffers kept_;
    std::atomic<std::uint32_t> generation_ = 0;
    std::atomic<std::uint32_t> silencedBefore_ = 0;
    std::atomic<std::uint32_t> forgottenBefore_ = 0;
    std::atomic<double> patience_ = atNoTime; // none is too late until it is said
    std::atomic<double> patientUntil_ = 0.0;
    std::atomic<float> submixVolume_ = 1.0F;
    std::atomic<WaitingLoop> waitingLoop_ = WaitingLoop{};
    std::atomic<std::uint32_t> startedLoop_ = 0;
    std::atomic<std::uint32_t> stoppedLoop_ = 0;
    std::atomic<float> loopRate_ = 1.0F;
    std::atomic<RampedVolume> loopVolume_ = RampedVolume{};
    std::array<std::atomic<bool>, voiceCount + 1> playing_ = {};
    std::atomic<std::uint64_t> rendered_ = 0;
    std::atomic<std::uint64_t> dropped_ = 0;

    static_assert(std::atomic<WaitingLoop>::is_always_lock_free);
    static_assert(std::atomic<RampedVolume>::is_always_lock_free);
    static_assert(std::atomic<std::uint64_t>::is_always_lock_free);
    static_assert(std::atomic<double>::is_always_lock_free);
};

} // namespace morvel
