// Makes the sound: eight voices and the loop voice -> submix -> peak limiter.
//
// The topology is fixed and made once. render() takes no lock, allocates nothing, makes no system
// call, logs nothing and throws nothing, whatever the control side does meanwhile; the control side
// is RenderCommands, whose header states the contract.
#pragma once

#include "audio/Limiter.h"
#include "audio/RecordingRing.h"
#include "audio/RenderCommands.h"
#include "audio/Varispeed.h"
#include "audio/Voice.h"
#include "platform/Clock.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <vector>

namespace morvel {

class Renderer {
public:
    explicit Renderer(RenderCommands& commands, VarispeedKernel kernel = nullptr);

    // To be configured before the first render().
    Limiter& limiter() { return limiter_; }

    // Tells which sounds are too late; without a clock none is. Read once a sound, on the audio
    // side, and not after close(). Before the first render().
    void setClock(const Clock& clock) { clock_ = &clock; }

    // Fills `frames` interleaved stereo frames. The audio side: one thread at a time.
    void render(float* interleaved, std::uint32_t frames) noexcept;

    // Every rendered frame also goes to `ring` until another (or none) is set. Main thread; returns
    // when the audio side has let go of the ring before. Waits for at most one render().
    void setRecording(RecordingRing* ring) noexcept;

    // From now on render() fills silence and touches nothing else. Main thread; waits as above.
    void close() noexcept;

private:
    void followGeneration() noexcept;
    void applyCommands() noexcept;
    void start(const StartCommand& command) noexcept;
    void startLoop() noexcept;
    bool isTooLate(const StartCommand& command) const noexcept;
    bool loopIsStopped(std::uint32_t generation) const noexcept;
    void updateLoop() noexcept;
    void renderBlock(float* interleaved, std::uint32_t frames) noexcept;
    void awaitBlockEnd() const noexcept;

    RenderCommands& commands_;
    const Clock* clock_ = nullptr;
    Varispeed varispeed_;
    std::vector<Voice> voices_; // the loop voice last
    VolumeRamp submix_;
    Limiter limiter_;
    std::uint32_t generation_;
    std::atomic<RecordingRing*> recording_ = nullptr;
    std::atomic<bool> closed_ = false;
    std::atomic<bool> rendering_ = false;
};

} // namespace morvel
