// The better of two outputs, as far as it is to be had.
//
// At the start the preferred output is asked first; where it is lost, or takes too long, the other
// joins in, and whichever runs is the one that is heard. A choice holds until its output is lost.
// Then the other one joins in: at once where the preferred one was not playing, otherwise when that
// has not come back by itself for some seconds. The preferred output is given a little more time
// once the other one runs; after that the one that was not chosen rests. After a pause it is given
// that time again.
#pragma once

#include "platform/AudioOutput.h"
#include "platform/Scheduler.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <stop_token>
#include <thread>

namespace morvel {

class PreferredAudioOutput : public AudioOutput {
public:
    struct Options {
        // For the preferred output's first answer.
        std::chrono::milliseconds answerLimit{1500};
        // In seconds: how long an output that has played is waited for before the other one joins
        // in; how long the preferred one may still take once the other runs.
        double returnLimit = 5;
        double lateLimit = 2;
        // How often, in seconds, an outage is looked at; more often for a while once another output
        // has joined in.
        double lookInterval = 1;
    };

    // `scheduler` must outlive the output.
    PreferredAudioOutput(std::unique_ptr<AudioOutput> preferred,
                         std::unique_ptr<AudioOutput> fallback, Scheduler& scheduler);
    PreferredAudioOutput(std::unique_ptr<AudioOutput> preferred,
                         std::unique_ptr<AudioOutput> fallback, Scheduler& scheduler,
                         Options options);
    // No render call or event comes after it.
    ~PreferredAudioOutput() override;
    PreferredAudioOutput(const PreferredAudioOutput&) = delete;
    PreferredAudioOutput& operator=(const PreferredAudioOutput&) = delete;

    void connect(Render render, Events events) override;
    void start() override;
    void pause() override;
    AudioOutputState state() const override;
    std::uint32_t periodFrames() const override { return current().periodFrames(); }
    std::uint32_t latencyFrames() const override { return current().latencyFrames(); }
    std::string_view serverName() const override { return current().serverName(); }

private:
    // An output and whether it takes part: whether it is to run while output is wanted.
    struct Candidate {
        std::unique_ptr<AudioOutput> output;
        std::atomic<bool> takesPart = false;
    };

    void connect(Candidate& candidate);
    void render(const Candidate& candidate, float* interleaved, std::uint32_t frames);
    void choose(const std::stop_token& stop);
    void join(Candidate& candidate);
    void leave(Candidate& candidate);
    bool runs(const Candidate& candidate) const;
    void awaitPreferred();
    void timeIsUp();
    void look();
    void lookAtOutage();
    void lookClosely();
    void settle(Candidate& candidate);
    void lost(Candidate& candidate, const std::string& error);
    void reportLoss(const std::string& error);
    void changed(const Candidate& candidate);
    const AudioOutput& current() const;

    Scheduler& scheduler_;
    const Options options_;
    Render render_;
    Events events_;
    // The one whose render calls are answered, and that one is under way: while one output follows
    // the other both may call.
    std::atomic<const Candidate*> heard_ = nullptr;
    std::atomic_flag rendering_;

    std::mutex mutex_; // for who takes part, and what follows from it
    std::condition_variable_any wake_;
    std::atomic<bool> wanted_ = false;
    std::atomic<bool> everStarted_ = false;
    std::atomic<bool> chosen_ = false; // the first choice has been made

    // The main thread's own.
    bool everRan_ = false;
    bool outage_ = false;
    int vainLooks_ = 0; // in this outage
    std::unique_ptr<Timer> watch_;
    int closeLooks_ = 0; // since one has joined
    std::unique_ptr<Timer> closeWatch_;
    std::unique_ptr<Timer> leaving_; // the preferred one's, where it does not run by then
    // What is queued for the main thread looks whether the output is still there.
    std::shared_ptr<int> alive_ = std::make_shared<int>();

    // The last, so that they are the first to go: they use all of the above.
    Candidate preferred_;
    Candidate fallback_;
    std::jthread chooser_;
};

} // namespace morvel
