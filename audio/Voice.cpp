#include "audio/Voice.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace morvel {

void VolumeRamp::moveTo(RampedVolume target) noexcept {
    if (target.volume == target_)
        return;
    target_ = target.volume;
    framesLeft_ = target.rampFrames;
    if (framesLeft_ == 0)
        current_ = target_;
    else
        slope_ = (target_ - current_) / static_cast<float>(framesLeft_);
}

float VolumeRamp::next() noexcept {
    if (framesLeft_ == 0)
        return current_;
    current_ = --framesLeft_ == 0 ? target_ : current_ + slope_;
    return current_;
}

void VolumeRamp::apply(float* interleaved, std::uint32_t frames) noexcept {
    std::uint32_t frame = 0;
    for (; frame < frames && framesLeft_ > 0; ++frame) {
        const float volume = next();
        interleaved[2 * frame] *= volume;
        interleaved[2 * frame + 1] *= volume;
    }
    const float volume = current_;
    if (volume == 1)
        return;
    for (std::uint32_t i = 2 * frame; i < 2 * frames; ++i)
        interleaved[i] *= volume;
}

void VolumeRamp::addTo(float* out, const float* interleaved, std::uint32_t frames) noexcept {
    std::uint32_t frame = 0;
    for (; frame < frames && framesLeft_ > 0; ++frame) {
        const float volume = next();
        out[2 * frame] += interleaved[2 * frame] * volume;
        out[2 * frame + 1] += interleaved[2 * frame + 1] * volume;
    }
    const float volume = current_;
    for (std::uint32_t i = 2 * frame; i < 2 * frames; ++i)
        out[i] += interleaved[i] * volume;
}

Voice::Voice(RenderCommands& commands, Varispeed& varispeed, bool loops)
    : commands_(commands)
    , varispeed_(varispeed)
    , loops_(loops) {
    for (std::uint32_t i = 0; i < fadeFrames; ++i) {
        const double progress = (i + 1.0) / (fadeFrames + 1.0);
        fadeShape_[i] = static_cast<float>(0.5 * (1 + std::cos(std::numbers::pi * progress)));
    }
}

void Voice::begin(const StartCommand& command) noexcept {
    const PcmBuffer& buffer = *command.buffer;
    player_.source = {buffer.channels[0].data(), buffer.channels[1].data(), buffer.frameLength(),
                      loops_};
    player_.position = 0;
    player_.step = Varispeed::stepForRate(command.rate);
    player_.volume = VolumeRamp(command.volume);
    player_.generation = command.generation;
    player_.keptSlot = command.keptSlot;
    player_.playing = true;
    if (player_.source.length == 0)
        end();
}

void Voice::end() noexcept {
    player_.playing = false;
    commands_.retire(player_.keptSlot);
}

void Voice::startNext() noexcept {
    while (!player_.playing && pendingCount_ > 0) {
        begin(pending_[0]);
        std::copy(pending_.begin() + 1,
                  pending_.begin() + static_cast<std::ptrdiff_t>(pendingCount_), pending_.begin());
        --pendingCount_;
    }
}

void Voice::start(const StartCommand& command) noexcept {
    if (command.interrupts)
        stop();
    if (player_.playing && pendingCount_ == pendingCapacity)
        stop();
    if (player_.playing)
        pending_[pendingCount_++] = command;
    else
        begin(command);
}

void Voice::dropPending() noexcept {
    for (std::size_t i = 0; i < pendingCount_; ++i)
        commands_.retire(pending_[i].keptSlot);
    pendingCount_ = 0;
}

void Voice::cut() noexcept {
    dropPending();
    fadeAt_ = fadeLength_;
    if (player_.playing)
        end();
}

void Voice::stop() noexcept {
    dropPending();
    if (!player_.playing)
        return;
    fadeOut();
    end();
}

// Renders the rest of the sound now, on top of what is left of an earlier one, so that the player
// and its buffer are free at once.
void Voice::fadeOut() noexcept {
    const std::uint32_t left = fadeLength_ - fadeAt_;
    std::copy(fade_.begin() + 2 * fadeAt_, fade_.begin() + 2 * fadeLength_, fade_.begin());
    std::fill(fade_.begin() + 2 * left, fade_.end(), 0.0F);
    std::array<float, 2 * fadeFrames> rest = {};
    const std::uint32_t count = render(rest.data(), fadeFrames);
    player_.volume.apply(rest.data(), count);
    for (std::uint32_t i = 0; i < count; ++i) {
        fade_[2 * i] += rest[2 * i] * fadeShape_[i];
        fade_[2 * i + 1] += rest[2 * i + 1] * fadeShape_[i];
    }
    fadeAt_ = 0;
    fadeLength_ = fadeFrames;
}

void Voice::mixFade(float* out, std::uint32_t frames) noexcept {
    const std::uint32_t count = std::min(frames, fadeLength_ - fadeAt_);
    for (std::uint32_t i = 0; i < 2 * count; ++i)
        out[i] += fade_[2 * fadeAt_ + i];
    fadeAt_ += count;
}

// Overwrites up to `frames` frames without the volume; answers how many there were before the end.
std::uint32_t Voice::render(float* interleaved, std::uint32_t frames) noexcept {
    const std::uint64_t end = player_.source.length << positionFractionBits;
    std::uint32_t count = frames;
    if (!loops_) {
        if (player_.position >= end)
            return 0;
        const std::uint64_t framesLeft = (end - player_.position + player_.step - 1) / player_.step;
        count = static_cast<std::uint32_t>(std::min<std::uint64_t>(frames, framesLeft));
    }
    varispeed_.render(player_.source, player_.position, player_.step, interleaved, count);
    player_.position += count * player_.step;
    if (loops_)
        player_.position %= end;
    return count;
}

void Voice::mixInto(float* out, std::uint32_t frames) noexcept {
    mixFade(out, frames);
    std::uint32_t done = 0;
    while (done < frames && player_.playing) {
        const std::uint32_t count = render(scratch_.data(), frames - done);
        player_.volume.addTo(out + 2 * static_cast<std::size_t>(done), scratch_.data(), count);
        done += count;
        if (done < frames ||
            (!loops_ && player_.position >= player_.source.length << positionFractionBits)) {
            end();
            startNext();
        }
    }
}

} // namespace morvel
