#include "platform/output/OutputOwner.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace morvel {

void OutputOwner::connect(AudioOutput::Render render, AudioOutput::Events events) {
    render_ = std::move(render);
    events_ = std::move(events);
}

void OutputOwner::render(float* interleaved, std::uint32_t frames) {
    rendering_ = true;
    if (released_)
        std::fill_n(interleaved, 2 * static_cast<std::size_t>(frames), 0.0F);
    else
        render_(interleaved, frames);
    rendering_ = false;
}

void OutputOwner::reportStart() {
    report([](const AudioOutput::Events& events) {
        if (events.started)
            events.started();
    });
}

void OutputOwner::reportFailure(const std::string& error) {
    report([error](const AudioOutput::Events& events) {
        if (events.failed)
            events.failed(error);
    });
}

void OutputOwner::reportChange() {
    report([](const AudioOutput::Events& events) {
        if (events.configurationChanged)
            events.configurationChanged();
    });
}

void OutputOwner::report(std::function<void(const AudioOutput::Events&)> event) {
    const std::lock_guard lock(mutex_);
    if (scheduler_ != nullptr)
        scheduler_->async([this, alive = std::weak_ptr<int>(alive_), event = std::move(event)] {
            if (!alive.expired())
                event(events_);
        });
}

void OutputOwner::log(const std::string& line) {
    const std::lock_guard lock(mutex_);
    if (log_ != nullptr)
        log_->line(line);
}

void OutputOwner::release() {
    {
        const std::lock_guard lock(mutex_);
        scheduler_ = nullptr;
        log_ = nullptr;
        alive_.reset();
    }
    released_ = true;
    while (rendering_)
        std::this_thread::yield();
}

} // namespace morvel
