// One voice of the renderer: a player and its varispeed. Audio thread, all of it; never allocates.
#pragma once

#include "audio/RenderCommands.h"
#include "audio/Varispeed.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace morvel {

// A volume that moves to its target in a straight line.
class VolumeRamp {
public:
    explicit VolumeRamp(float volume = 0) noexcept
        : current_(volume)
        , target_(volume) {}

    void moveTo(RampedVolume target) noexcept;
    float target() const noexcept { return target_; }
    bool isSteady() const noexcept { return framesLeft_ == 0; }

    // Multiplies; the plus version adds the product to `out`.
    void apply(float* interleaved, std::uint32_t frames) noexcept;
    void addTo(float* out, const float* interleaved, std::uint32_t frames) noexcept;

private:
    float next() noexcept;

    float current_;
    float target_;
    float slope_ = 0;
    std::uint32_t framesLeft_ = 0;
};

class Voice {
public:
    // A stopped or stolen sound fades within this many frames.
    static constexpr std::uint32_t fadeFrames = shortRampFrames;

    Voice(RenderCommands& commands, Varispeed& varispeed, bool loops);

    // Starts at once when idle or when the command interrupts; else after what is queued already.
    void start(const StartCommand& command) noexcept;
    // Fades out what plays and forgets what is queued.
    void stop() noexcept;
    // The same without the fade, and without the rest of an earlier one.
    void cut() noexcept;

    void setRate(float rate) noexcept { player_.step = Varispeed::stepForRate(rate); }
    void moveVolume(RampedVolume volume) noexcept { player_.volume.moveTo(volume); }
    float volumeTarget() const noexcept { return player_.volume.target(); }

    bool isPlaying() const noexcept { return player_.playing; }
    bool isSilent() const noexcept { return !player_.playing && fadeAt_ == fadeLength_; }

    // The running sound's command generation.
    std::uint32_t generation() const noexcept { return player_.generation; }

    // Adds `frames` (at most blockFrames) stereo frames to `out`.
    void mixInto(float* out, std::uint32_t frames) noexcept;

private:
    struct Player {
        VarispeedSource source;
        std::uint64_t position = 0;
        std::uint64_t step = positionOne;
        VolumeRamp volume;
        std::uint32_t generation = 0;
        std::uint16_t keptSlot = 0;
        bool playing = false;
    };

    void begin(const StartCommand& command) noexcept;
    void end() noexcept;
    void dropPending() noexcept;
    void startNext() noexcept;
    std::uint32_t render(float* interleaved, std::uint32_t frames) noexcept;
    void fadeOut() noexcept;
    void mixFade(float* out, std::uint32_t frames) noexcept;

    RenderCommands& commands_;
    Varispeed& varispeed_;
    bool loops_;
    Player player_;

    static constexpr std::size_t pendingCapacity = 8;
    std::array<StartCommand, pendingCapacity> pending_ = {};
    std::size_t pendingCount_ = 0;

    // What is left of stopped sounds, rendered when they were stopped.
    std::array<float, 2 * fadeFrames> fade_ = {};
    std::array<float, fadeFrames> fadeShape_ = {};
    std::uint32_t fadeAt_ = 0;
    std::uint32_t fadeLength_ = 0;
    std::array<float, 2 * blockFrames> scratch_ = {};
};

} // namespace morvel
