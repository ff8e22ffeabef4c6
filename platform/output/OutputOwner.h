// What an audio output's own threads may do with the one who owns the output, until it lets go.
#pragma once

#include "platform/AudioOutput.h"
#include "platform/Log.h"
#include "platform/Scheduler.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace morvel {

class OutputOwner {
public:
    OutputOwner(Scheduler& scheduler, Log& log)
        : scheduler_(&scheduler)
        , log_(&log) {}
    OutputOwner(const OutputOwner&) = delete;
    OutputOwner& operator=(const OutputOwner&) = delete;

    // Main thread, before any other member.
    void connect(AudioOutput::Render render, AudioOutput::Events events);

    // The owner's sound, or silence once it has let go. The audio thread.
    void render(float* interleaved, std::uint32_t frames);

    // Hands an event to the main thread, or a line to the log. Any thread but the audio thread.
    void reportStart();
    void reportFailure(const std::string& error);
    void reportChange();
    void log(const std::string& line);

    // From now on nothing of the owner's is touched; a render call that is under way has ended.
    // Main thread.
    void release();

private:
    void report(std::function<void(const AudioOutput::Events&)> event);

    std::mutex mutex_;
    Scheduler* scheduler_;
    Log* log_;
    AudioOutput::Render render_;
    AudioOutput::Events events_;
    // Events queued for the main thread look whether the owner is still there.
    std::shared_ptr<int> alive_ = std::make_shared<int>();
    std::atomic<bool> released_ = false;
    std::atomic<bool> rendering_ = false;
};

} // namespace morvel
