#include "platform/linux/PipeWireAudioOutput.h"

#include "platform/linux/OutputOwner.h"
#include "platform/linux/PipeWireStream.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <utility>

namespace morvel {

namespace {

using SteadyClock = std::chrono::steady_clock;
using Flow = PipeWireStream::Flow;

// After this long the server's period has settled.
constexpr std::chrono::milliseconds measuringTime(200);
// A start() during an outage hastens the next attempt, but not without end.
constexpr std::chrono::milliseconds shortestRetry(400);
// The period is a running mean: where the server converts, calls differ by a frame. This is the
// newest call's part in it, and the mean's finest step.
constexpr std::int64_t newestPart = 16;
constexpr std::int64_t meanSteps = 256;

} // namespace

// What the loop's thread, the audio thread and the owner share. The mutex is never held during a
// call into the library.
class PipeWireAudioOutput::Control : public PipeWireStream::Listener {
public:
    Control(Scheduler& scheduler, Log& log, Options options)
        : owner_(scheduler, log)
        , options_(std::move(options)) {}

    void connect(Render render, Events events) {
        owner_.connect(std::move(render), std::move(events));
    }

    void start();
    void pause();
    AudioOutputState state() const { return state_; }
    std::uint32_t period() const {
        return static_cast<std::uint32_t>((meanFrames_ + meanSteps / 2) / meanSteps);
    }
    std::uint32_t latency() const { return latency_; }

    // The loop's life.
    void run();

    // From now on nothing of the owner's is touched. Answers whether the thread ended in time.
    bool shutDown(std::chrono::milliseconds patience);

    void render(float* interleaved, std::uint32_t frames) override;

private:
    struct Wishes {
        bool quit = false;
        bool run = false;
        SteadyClock::time_point retryAt;
    };

    void serve(pw_loop& loop);
    Wishes wishes();
    int timeout(const PipeWireStream& stream, const Wishes& wishes) const;
    void turn(PipeWireStream& stream, const Wishes& wishes);
    void open(PipeWireStream& stream);
    void lookAtFlow(PipeWireStream& stream);
    void flows(PipeWireStream& stream);
    void lose(const std::string& error);
    void measure(const PipeWireStream& stream);

    OutputOwner owner_;
    Options options_;
    std::atomic<AudioOutputState> state_ = AudioOutputState::stopped;
    std::atomic<std::int64_t> meanFrames_ = 0; // in parts of meanSteps
    std::atomic<std::uint32_t> latency_ = 0;

    std::mutex mutex_;
    std::condition_variable ended_;
    pw_loop* loop_ = nullptr; // while its thread serves it
    spa_source* word_ = nullptr;
    bool wanted_ = false; // output is to run
    bool quit_ = false;
    bool end_ = false;
    SteadyClock::time_point attempted_;
    SteadyClock::time_point retryAt_;

    // The loop thread's own.
    bool active_ = false; // what the stream was told
    bool outage_ = false; // reported as lost and not yet back
    bool everRan_ = false;
    std::optional<SteadyClock::time_point> answerBy_;
    std::optional<SteadyClock::time_point> measureAt_;
    std::optional<std::uint32_t> clock_; // that drives the stream, as last seen
    std::chrono::milliseconds retry_{0};

    void leaveWord() {
        if (loop_ != nullptr)
            pw_loop_signal_event(loop_, word_);
    }
};

void PipeWireAudioOutput::Control::start() {
    const std::lock_guard lock(mutex_);
    wanted_ = true;
    if (state_ == AudioOutputState::stopped || state_ == AudioOutputState::paused) {
        state_ = AudioOutputState::starting;
        retryAt_ = {};
    } else if (state_ == AudioOutputState::lost) {
        retryAt_ = std::min(retryAt_, attempted_ + shortestRetry);
    } else {
        return;
    }
    leaveWord();
}

void PipeWireAudioOutput::Control::pause() {
    const std::lock_guard lock(mutex_);
    if (!wanted_)
        return;
    wanted_ = false;
    state_ = AudioOutputState::paused;
    leaveWord();
}

void PipeWireAudioOutput::Control::render(float* interleaved, std::uint32_t frames) {
    owner_.render(interleaved, frames);
    const std::int64_t now = frames * meanSteps;
    const std::int64_t mean = meanFrames_;
    meanFrames_ = mean == 0 ? now : mean + (now - mean) / newestPart;
}

void PipeWireAudioOutput::Control::run() {
    if (pw_loop* const loop = PipeWireStream::makeLoop()) {
        serve(*loop);
        pw_loop_destroy(loop);
    } else {
        lose("PipeWire's library does not start");
    }
    const std::lock_guard lock(mutex_);
    end_ = true;
    ended_.notify_all();
}

void PipeWireAudioOutput::Control::serve(pw_loop& loop) {
    PipeWireStream stream(loop, *this);
    {
        const std::lock_guard lock(mutex_);
        word_ = pw_loop_add_event(
            &loop, [](void*, std::uint64_t) {}, nullptr);
        loop_ = &loop;
    }
    pw_loop_enter(&loop);
    for (Wishes now = wishes(); !now.quit; now = wishes()) {
        turn(stream, now);
        pw_loop_iterate(&loop, timeout(stream, wishes()));
    }
    stream.close();
    pw_loop_leave(&loop);
    const std::lock_guard lock(mutex_);
    pw_loop_destroy_source(&loop, word_);
    loop_ = nullptr;
}

PipeWireAudioOutput::Control::Wishes PipeWireAudioOutput::Control::wishes() {
    const std::lock_guard lock(mutex_);
    return {quit_, wanted_, retryAt_};
}

// Milliseconds until the next turn, if nothing happens before; -1: none.
int PipeWireAudioOutput::Control::timeout(const PipeWireStream& stream,
                                          const Wishes& wishes) const {
    std::optional<SteadyClock::time_point> next;
    const auto consider = [&next](std::optional<SteadyClock::time_point> time) {
        if (time && (!next || *time < *next))
            next = time;
    };
    if (wishes.run && stream.flow() == Flow::closed)
        consider(wishes.retryAt);
    consider(answerBy_);
    consider(measureAt_);
    if (!next)
        return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*next - SteadyClock::now());
    return static_cast<int>(std::max<std::int64_t>(left.count(), 0));
}

void PipeWireAudioOutput::Control::turn(PipeWireStream& stream, const Wishes& wishes) {
    if (stream.flow() == Flow::failed) {
        const std::string error = stream.error();
        stream.close();
        lose(error);
        return;
    }
    if (stream.flow() == Flow::closed) {
        if (wishes.run && wishes.retryAt <= SteadyClock::now())
            open(stream);
        return;
    }
    if (active_ != wishes.run) {
        active_ = wishes.run;
        stream.setActive(active_);
        answerBy_.reset();
        measureAt_.reset();
    }
    if (active_)
        lookAtFlow(stream);
}

void PipeWireAudioOutput::Control::open(PipeWireStream& stream) {
    {
        const std::lock_guard lock(mutex_);
        attempted_ = SteadyClock::now();
    }
    answerBy_.reset();
    measureAt_.reset();
    clock_.reset();
    meanFrames_ = 0;
    const auto error =
        stream.open(options_.applicationName, options_.streamName, options_.latencyFrames);
    if (error) {
        lose(*error);
        return;
    }
    active_ = true;
    answerBy_ = SteadyClock::now() + options_.answerLimit;
}

void PipeWireAudioOutput::Control::lookAtFlow(PipeWireStream& stream) {
    const auto now = SteadyClock::now();
    if (stream.flow() == Flow::streaming) {
        answerBy_.reset();
        flows(stream);
        if (measureAt_ && *measureAt_ <= now)
            measure(stream);
        return;
    }
    measureAt_.reset();
    if (state_ == AudioOutputState::lost)
        return; // what it waits for will be heard of
    if (!answerBy_)
        answerBy_ = now + options_.answerLimit;
    if (*answerBy_ > now)
        return;
    answerBy_.reset();
    lose(stream.answered() ? "there is no device" : "the sound server does not answer");
}

void PipeWireAudioOutput::Control::flows(PipeWireStream& stream) {
    bool resumed = false;
    {
        const std::lock_guard lock(mutex_);
        if (!wanted_)
            return; // seen by the next turn
        resumed = state_.exchange(AudioOutputState::running) != AudioOutputState::running;
    }
    const auto clock = stream.clock();
    const bool moved = clock && clock_ && clock != clock_;
    clock_ = clock ? clock : clock_;
    retry_ = {};
    if (resumed || moved)
        measureAt_ = SteadyClock::now() + measuringTime;
    const bool back = std::exchange(outage_, false);
    const bool first = !std::exchange(everRan_, true);
    if (back || moved)
        owner_.reportChange();
    else if (first)
        owner_.reportStart();
}

void PipeWireAudioOutput::Control::lose(const std::string& error) {
    answerBy_.reset();
    measureAt_.reset();
    {
        const std::lock_guard lock(mutex_);
        retry_ =
            std::clamp(retry_ + options_.firstRetry, options_.firstRetry, options_.longestRetry);
        retryAt_ = SteadyClock::now() + retry_;
        if (!wanted_)
            return;
        state_ = AudioOutputState::lost;
    }
    if (!std::exchange(outage_, true))
        owner_.reportFailure(error);
}

void PipeWireAudioOutput::Control::measure(const PipeWireStream& stream) {
    measureAt_.reset();
    if (period() == 0) {
        measureAt_ = SteadyClock::now() + measuringTime;
        return;
    }
    latency_ = period() + stream.delayFrames();
    owner_.log(fmt::format("Audio output: PipeWire, 44100 Hz stereo, period {} frames, buffer {} "
                           "frames ({:.1f} ms)",
                           period(), latency_.load(), latency_.load() / 44.1));
}

bool PipeWireAudioOutput::Control::shutDown(std::chrono::milliseconds patience) {
    owner_.release();
    std::unique_lock lock(mutex_);
    quit_ = true;
    leaveWord();
    return ended_.wait_for(lock, patience, [this] { return end_; });
}

PipeWireAudioOutput::PipeWireAudioOutput(Scheduler& scheduler, Log& log)
    : PipeWireAudioOutput(scheduler, log, Options{}) {}

PipeWireAudioOutput::PipeWireAudioOutput(Scheduler& scheduler, Log& log, Options options)
    : patience_(options.patience) {
    control_ = std::make_shared<Control>(scheduler, log, std::move(options));
    thread_ = std::thread([control = control_] { control->run(); });
}

PipeWireAudioOutput::~PipeWireAudioOutput() {
    if (control_->shutDown(patience_))
        thread_.join();
    else
        thread_.detach();
}

void PipeWireAudioOutput::connect(Render render, Events events) {
    control_->connect(std::move(render), std::move(events));
}

void PipeWireAudioOutput::start() {
    control_->start();
}

void PipeWireAudioOutput::pause() {
    control_->pause();
}

AudioOutputState PipeWireAudioOutput::state() const {
    return control_->state();
}

std::uint32_t PipeWireAudioOutput::periodFrames() const {
    return control_->period();
}

std::uint32_t PipeWireAudioOutput::latencyFrames() const {
    return control_->latency();
}

} // namespace morvel
