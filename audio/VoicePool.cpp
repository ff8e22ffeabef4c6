#include "audio/VoicePool.h"

#include <algorithm>

namespace morvel {

VoicePool::Handout VoicePool::acquire(double now, double expectedDuration) {
    const std::lock_guard lock(mutex_);
    auto chosen = std::find_if(freeAt_.begin(), freeAt_.end(),
                               [now](double freeAt) { return freeAt <= now; });
    const bool stolen = chosen == freeAt_.end();
    if (stolen)
        chosen = std::min_element(freeAt_.begin(), freeAt_.end());
    *chosen = now + expectedDuration;
    const auto voice = static_cast<std::size_t>(chosen - freeAt_.begin());
    cursor_ = (voice + 1) % voiceCount;
    return {voice, *chosen, stolen};
}

std::size_t VoicePool::activeCount(double now) const {
    const std::lock_guard lock(mutex_);
    return static_cast<std::size_t>(
        std::count_if(freeAt_.begin(), freeAt_.end(), [now](double at) { return at > now; }));
}

std::array<double, voiceCount> VoicePool::freeAt() const {
    const std::lock_guard lock(mutex_);
    return freeAt_;
}

std::size_t VoicePool::cursor() const {
    const std::lock_guard lock(mutex_);
    return cursor_;
}

bool VoicePool::warnOnce(SoundCategory category) {
    const std::lock_guard lock(mutex_);
    const auto index = static_cast<std::size_t>(category);
    if (warned_.test(index))
        return false;
    warned_.set(index);
    return true;
}

void VoicePool::freeAll() {
    const std::lock_guard lock(mutex_);
    freeAt_.fill(0);
}

void VoicePool::freeAllAndForgetWarnings() {
    const std::lock_guard lock(mutex_);
    freeAt_.fill(0);
    warned_.reset();
}

} // namespace morvel
