#include "platform/output/ServerAudioOutput.h"

#include "platform/Environment.h"
#include "platform/output/OutputOwner.h"
#include "platform/output/WakePipe.h"

#include <fmt/format.h>
#include <poll.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <utility>

namespace morvel {

namespace {

using SteadyClock = std::chrono::steady_clock;
using Flow = ServerStream::Flow;

// After this long, and this many calls, the server's period has settled.
constexpr std::chrono::milliseconds measuringTime(200);
constexpr std::uint32_t fewestCalls = 20;
// A start() during an outage hastens the next attempt, but not without end.
constexpr std::chrono::milliseconds shortestRetry(400);
// The period is a running mean: where the server converts, calls differ by a frame. This is the
// newest call's part in it, and the mean's finest step.
constexpr std::int64_t newestPart = 16;
constexpr std::int64_t meanSteps = 256;

} // namespace

// What the control thread, the audio thread and the owner share. The mutex is never held during a
// call into the library.
class ServerAudioOutput::Control : public ServerStream::Listener {
public:
    Control(const OutputServer& server, Scheduler& scheduler, Log& log, Options options)
        : server_(server)
        , socket_(server.socket(systemEnvironment()))
        , owner_(scheduler, log)
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
    std::string_view serverName() const { return server_.name; }

    // The control thread's life.
    void run();

    // From now on nothing of the owner's is touched. Answers whether the thread ended in time.
    bool shutDown();

    void render(float* interleaved, std::uint32_t frames) override;
    void wake() override { word_.wake(); }

private:
    struct Wishes {
        bool quit = false;
        bool run = false;
        SteadyClock::time_point retryAt;
    };

    Wishes wishes();
    int timeout(const ServerStream& stream, const Wishes& wishes) const;
    void await(ServerStream& stream);
    void turn(ServerStream& stream, const Wishes& wishes);
    bool open(ServerStream& stream);
    void lookAtFlow(ServerStream& stream);
    void flows(const ServerStream& stream);
    void lose(const std::string& error);
    void measure(ServerStream& stream);

    const OutputServer& server_;
    const std::filesystem::path socket_;
    OutputOwner owner_;
    const Options options_;
    const WakePipe word_;
    std::atomic<AudioOutputState> state_ = AudioOutputState::stopped;
    std::atomic<std::uint32_t> calls_ = 0;     // since the stream was opened
    std::atomic<std::int64_t> meanFrames_ = 0; // in parts of meanSteps
    std::atomic<std::uint32_t> latency_ = 0;

    std::mutex mutex_;
    std::condition_variable ended_;
    bool wanted_ = false; // output is to run
    bool outage_ = false; // reported as lost and not yet back
    bool quit_ = false;
    bool end_ = false;
    bool missing_ = false; // there is no socket to try
    SteadyClock::time_point attempted_;
    SteadyClock::time_point retryAt_;

    // The control thread's own.
    bool active_ = false; // what the stream was told
    bool everRan_ = false;
    std::optional<SteadyClock::time_point> answerBy_;
    std::optional<SteadyClock::time_point> measureAt_;
    std::optional<std::uint32_t> device_; // since the stream was opened or resumed, as last seen
    std::chrono::milliseconds retry_{0};
    std::unique_ptr<ServerWatch> watch_; // during an outage; null where the server has none
};

void ServerAudioOutput::Control::start() {
    const std::lock_guard lock(mutex_);
    wanted_ = true;
    if (state_ == AudioOutputState::stopped || state_ == AudioOutputState::paused) {
        state_ = AudioOutputState::starting;
        retryAt_ = {};
    } else if (state_ == AudioOutputState::lost && !missing_) {
        retryAt_ = std::min(retryAt_, attempted_ + shortestRetry);
    } else {
        return;
    }
    wake();
}

void ServerAudioOutput::Control::pause() {
    const std::lock_guard lock(mutex_);
    if (!wanted_)
        return;
    wanted_ = false;
    outage_ = false;
    state_ = AudioOutputState::paused;
    wake();
}

void ServerAudioOutput::Control::render(float* interleaved, std::uint32_t frames) {
    owner_.render(interleaved, frames);
    if (calls_++ == 0)
        return; // it may be there to fill a buffer
    const std::int64_t now = frames * meanSteps;
    const std::int64_t mean = meanFrames_;
    meanFrames_ = mean == 0 ? now : mean + (now - mean) / newestPart;
}

void ServerAudioOutput::Control::run() {
    {
        const auto stream = server_.makeStream(*this);
        for (Wishes now = wishes(); !now.quit; now = wishes()) {
            turn(*stream, now);
            await(*stream);
        }
        stream->close();
    }
    const std::lock_guard lock(mutex_);
    end_ = true;
    ended_.notify_all();
}

ServerAudioOutput::Control::Wishes ServerAudioOutput::Control::wishes() {
    const std::lock_guard lock(mutex_);
    return {quit_, wanted_, retryAt_};
}

// Milliseconds until the next turn, if nothing happens before; -1: none.
int ServerAudioOutput::Control::timeout(const ServerStream& stream, const Wishes& wishes) const {
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

void ServerAudioOutput::Control::await(ServerStream& stream) {
    const Wishes now = wishes();
    if (!now.run)
        watch_.reset();
    pollfd sources[] = {{word_.descriptor(), POLLIN, 0},
                        {stream.descriptor(), POLLIN, 0},
                        {watch_ ? watch_->descriptor() : -1, POLLIN, 0}};
    poll(sources, std::size(sources), timeout(stream, now));
    word_.clear();
    stream.serve();
    if (watch_ && watch_->appeared()) {
        const std::lock_guard lock(mutex_);
        retry_ = {};
        retryAt_ = {};
        missing_ = false;
    }
}

void ServerAudioOutput::Control::turn(ServerStream& stream, const Wishes& wishes) {
    if (stream.flow() == Flow::failed) {
        const std::string error = stream.error();
        stream.close();
        lose(error);
        return;
    }
    if (stream.flow() == Flow::closed) {
        const bool due = wishes.run && wishes.retryAt <= SteadyClock::now();
        if (!due || !open(stream))
            return;
    } else if (active_ != wishes.run) {
        active_ = wishes.run;
        active_ ? stream.resume() : stream.rest();
        answerBy_.reset();
        measureAt_.reset();
        device_.reset();
        if (active_)
            answerBy_ = SteadyClock::now() + options_.wakeLimit;
    }
    if (active_)
        lookAtFlow(stream);
}

bool ServerAudioOutput::Control::open(ServerStream& stream) {
    {
        const std::lock_guard lock(mutex_);
        attempted_ = SteadyClock::now();
    }
    answerBy_.reset();
    measureAt_.reset();
    device_.reset();
    calls_ = 0;
    meanFrames_ = 0;
    if (const auto error = stream.open(options_.stream)) {
        lose(*error);
        return false;
    }
    active_ = true;
    answerBy_ = SteadyClock::now() + options_.answerLimit;
    return true;
}

void ServerAudioOutput::Control::lookAtFlow(ServerStream& stream) {
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
    lose(stream.error());
}

void ServerAudioOutput::Control::flows(const ServerStream& stream) {
    bool resumed = false;
    bool back = false;
    {
        const std::lock_guard lock(mutex_);
        if (!wanted_)
            return; // seen by the next turn
        resumed = state_.exchange(AudioOutputState::running) != AudioOutputState::running;
        back = std::exchange(outage_, false);
    }
    const auto device = stream.device();
    const bool moved = device && device_ && device != device_;
    device_ = device ? device : device_;
    retry_ = {};
    watch_.reset();
    if (resumed || moved)
        measureAt_ = SteadyClock::now() + measuringTime;
    const bool first = !std::exchange(everRan_, true);
    if (back || moved)
        owner_.reportChange();
    else if (first)
        owner_.reportStart();
}

void ServerAudioOutput::Control::lose(const std::string& error) {
    answerBy_.reset();
    measureAt_.reset();
    if (!watch_ && server_.watch != nullptr)
        watch_ = server_.watch(socket_);
    const bool missing = watch_ && watch_->missing();
    {
        const std::lock_guard lock(mutex_);
        missing_ = missing;
        retry_ =
            std::clamp(retry_ + options_.firstRetry, options_.firstRetry, options_.longestRetry);
        retryAt_ = SteadyClock::now() + (missing ? options_.missingRetry : retry_);
        if (!wanted_)
            return;
        state_ = AudioOutputState::lost;
        if (std::exchange(outage_, true))
            return;
    }
    owner_.reportFailure(error);
}

void ServerAudioOutput::Control::measure(ServerStream& stream) {
    measureAt_.reset();
    stream.hastenAudioThread();
    // A sink that was idle may take its time before it first asks for sound.
    if (calls_ < fewestCalls) {
        measureAt_ = SteadyClock::now() + measuringTime;
        return;
    }
    latency_ = stream.latencyFrames(period());
    owner_.log(fmt::format("Audio output: {}, 44100 Hz stereo, period {} frames, buffer {} frames "
                           "({:.1f} ms)",
                           server_.name, period(), latency_.load(), latency_.load() / 44.1));
}

bool ServerAudioOutput::Control::shutDown() {
    owner_.release();
    std::unique_lock lock(mutex_);
    quit_ = true;
    wake();
    return ended_.wait_for(lock, options_.patience, [this] { return end_; });
}

ServerAudioOutput::ServerAudioOutput(const OutputServer& server, Scheduler& scheduler, Log& log)
    : ServerAudioOutput(server, scheduler, log, Options{}) {}

ServerAudioOutput::ServerAudioOutput(const OutputServer& server, Scheduler& scheduler, Log& log,
                                     Options options)
    : control_(std::make_shared<Control>(server, scheduler, log, std::move(options)))
    , thread_([control = control_] { control->run(); }) {}

ServerAudioOutput::~ServerAudioOutput() {
    if (control_->shutDown())
        thread_.join();
    else
        thread_.detach();
}

void ServerAudioOutput::connect(Render render, Events events) {
    control_->connect(std::move(render), std::move(events));
}

void ServerAudioOutput::start() {
    control_->start();
}

void ServerAudioOutput::pause() {
    control_->pause();
}

AudioOutputState ServerAudioOutput::state() const {
    return control_->state();
}

std::uint32_t ServerAudioOutput::periodFrames() const {
    return control_->period();
}

std::uint32_t ServerAudioOutput::latencyFrames() const {
    return control_->latency();
}

std::string_view ServerAudioOutput::serverName() const {
    return control_->serverName();
}

} // namespace morvel
