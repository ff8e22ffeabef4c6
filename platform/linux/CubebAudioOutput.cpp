#include "platform/linux/CubebAudioOutput.h"

#include "platform/linux/CubebStream.h"
#include "platform/linux/OutputOwner.h"
#include "platform/linux/RealtimeThread.h"

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

// After this long the server's real period is known.
constexpr std::chrono::milliseconds measuringTime(200);
constexpr std::uint64_t fewestCalls = 20;
// A start() during an outage hastens the next attempt, but not without end.
constexpr std::chrono::milliseconds shortestRetry(400);

} // namespace

// What the control thread, the audio thread and the owner share. The mutex is never held during a
// call into the library.
class CubebAudioOutput::Control : public CubebStream::Listener {
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
    std::uint32_t period() const { return period_; }
    std::uint32_t latency() const { return latency_; }

    // The control thread's life.
    void run();

    // From now on nothing of the owner's is touched. Answers whether the thread ended in time.
    bool shutDown(std::chrono::milliseconds patience);

    void render(float* interleaved, std::uint32_t frames) override;
    void streamFailed() override;

private:
    enum class Task : std::uint8_t { none, quit, recover, open, close, measure };

    Task awaitTask();
    Task nextTask(std::optional<SteadyClock::time_point>& notBefore) const;
    void openStream(CubebStream& stream);
    void lose(const std::string& error);
    void measure();

    OutputOwner owner_;
    Options options_;
    std::atomic<AudioOutputState> state_ = AudioOutputState::stopped;
    std::atomic<std::uint32_t> period_ = 0;
    std::atomic<std::uint32_t> latency_ = 0;
    std::atomic<std::uint64_t> calls_ = 0;
    std::atomic<std::uint64_t> frames_ = 0;
    std::atomic<pthread_t> audioThread_ = 0; // 0: not seen yet, or hastened already

    std::mutex mutex_;
    std::condition_variable wake_;
    bool wanted_ = false; // output is to run
    bool open_ = false;   // the stream is open
    bool failed_ = false; // the open stream has failed
    bool outage_ = false; // reported as lost and not yet back
    bool everRan_ = false;
    bool quit_ = false;
    bool ended_ = false;
    SteadyClock::time_point attempted_;
    SteadyClock::time_point retryAt_;
    std::optional<SteadyClock::time_point> measureAt_;
    std::chrono::milliseconds retry_{0};
};

void CubebAudioOutput::Control::start() {
    const std::lock_guard lock(mutex_);
    wanted_ = true;
    if (state_ == AudioOutputState::stopped || state_ == AudioOutputState::paused) {
        state_ = open_ && !failed_ ? AudioOutputState::running : AudioOutputState::starting;
        retryAt_ = {};
    } else if (state_ == AudioOutputState::lost) {
        retryAt_ = std::min(retryAt_, attempted_ + shortestRetry);
    } else {
        return;
    }
    wake_.notify_one();
}

void CubebAudioOutput::Control::pause() {
    const std::lock_guard lock(mutex_);
    if (!wanted_)
        return;
    wanted_ = false;
    state_ = AudioOutputState::paused;
    wake_.notify_one();
}

void CubebAudioOutput::Control::render(float* interleaved, std::uint32_t frames) {
    owner_.render(interleaved, frames);
    // The first call fills the server's buffer, the others keep it full.
    if (calls_ == 0) {
        latency_ = frames;
        audioThread_ = pthread_self();
    } else {
        frames_ += frames;
    }
    ++calls_;
}

void CubebAudioOutput::Control::streamFailed() {
    const std::lock_guard lock(mutex_);
    failed_ = true;
    if (wanted_)
        state_ = AudioOutputState::lost;
    wake_.notify_one();
}

CubebAudioOutput::Control::Task
CubebAudioOutput::Control::nextTask(std::optional<SteadyClock::time_point>& notBefore) const {
    notBefore.reset();
    if (quit_)
        return Task::quit;
    if (open_ && failed_)
        return Task::recover;
    if (open_ && !wanted_)
        return Task::close;
    if (!open_ && wanted_) {
        notBefore = retryAt_;
        return Task::open;
    }
    if (measureAt_) {
        notBefore = measureAt_;
        return Task::measure;
    }
    return Task::none;
}

CubebAudioOutput::Control::Task CubebAudioOutput::Control::awaitTask() {
    std::unique_lock lock(mutex_);
    for (;;) {
        std::optional<SteadyClock::time_point> notBefore;
        const Task task = nextTask(notBefore);
        if (task != Task::none && (!notBefore || *notBefore <= SteadyClock::now()))
            return task;
        if (notBefore)
            wake_.wait_until(lock, *notBefore);
        else
            wake_.wait(lock);
    }
}

void CubebAudioOutput::Control::run() {
    {
        CubebStream stream(*this);
        for (Task task = awaitTask(); task != Task::quit; task = awaitTask()) {
            switch (task) {
            case Task::open:
                openStream(stream);
                break;
            case Task::close:
                stream.close();
                break;
            case Task::recover:
                lose("the sound server closed the stream");
                stream.disconnect();
                break;
            case Task::measure:
                measure();
                break;
            default:
                break;
            }
            const std::lock_guard lock(mutex_);
            open_ = stream.isOpen();
            if (!open_) {
                failed_ = false;
                measureAt_.reset();
            }
        }
    }
    const std::lock_guard lock(mutex_);
    ended_ = true;
    wake_.notify_all();
}

void CubebAudioOutput::Control::openStream(CubebStream& stream) {
    {
        const std::lock_guard lock(mutex_);
        attempted_ = SteadyClock::now();
        failed_ = false;
    }
    calls_ = 0;
    frames_ = 0;
    audioThread_ = 0;
    const auto error = stream.open(options_.applicationName.c_str(), options_.streamName.c_str(),
                                   options_.latencyFrames);
    if (error) {
        lose(*error);
        return;
    }
    bool back = false;
    bool first = false;
    {
        const std::lock_guard lock(mutex_);
        if (failed_ || !wanted_)
            return; // seen by the next turn
        state_ = AudioOutputState::running;
        back = std::exchange(outage_, false);
        first = !std::exchange(everRan_, true);
        retry_ = {};
        measureAt_ = SteadyClock::now() + measuringTime;
    }
    if (back)
        owner_.reportChange();
    else if (first)
        owner_.reportStart();
}

void CubebAudioOutput::Control::lose(const std::string& error) {
    {
        const std::lock_guard lock(mutex_);
        retry_ =
            std::clamp(retry_ + options_.firstRetry, options_.firstRetry, options_.longestRetry);
        retryAt_ = SteadyClock::now() + retry_;
        if (!wanted_)
            return;
        state_ = AudioOutputState::lost;
        if (std::exchange(outage_, true))
            return;
    }
    owner_.reportFailure(error);
}

void CubebAudioOutput::Control::measure() {
    const std::uint64_t calls = calls_;
    const std::uint64_t frames = frames_;
    // Where it is refused the thread stays an ordinary one, which is enough on a machine at ease.
    if (const pthread_t thread = audioThread_.exchange(0); thread != 0)
        makeRealtime(thread);
    {
        const std::lock_guard lock(mutex_);
        measureAt_.reset();
        // A sink that was idle may take its time before it first asks for sound.
        if (calls < fewestCalls)
            measureAt_ = SteadyClock::now() + measuringTime;
    }
    if (calls < fewestCalls)
        return;
    period_ = static_cast<std::uint32_t>((frames + (calls - 1) / 2) / (calls - 1));
    owner_.log(
        fmt::format("Audio output: PulseAudio, 44100 Hz stereo, period {} frames, buffer {} frames "
                    "({:.1f} ms)",
                    period_.load(), latency_.load(), latency_.load() / 44.1));
}

bool CubebAudioOutput::Control::shutDown(std::chrono::milliseconds patience) {
    owner_.release();
    std::unique_lock lock(mutex_);
    quit_ = true;
    wake_.notify_all();
    return wake_.wait_for(lock, patience, [this] { return ended_; });
}

CubebAudioOutput::CubebAudioOutput(Scheduler& scheduler, Log& log)
    : CubebAudioOutput(scheduler, log, Options{}) {}

CubebAudioOutput::CubebAudioOutput(Scheduler& scheduler, Log& log, Options options)
    : patience_(options.patience) {
    control_ = std::make_shared<Control>(scheduler, log, std::move(options));
    thread_ = std::thread([control = control_] { control->run(); });
}

CubebAudioOutput::~CubebAudioOutput() {
    if (control_->shutDown(patience_))
        thread_.join();
    else
        thread_.detach();
}

void CubebAudioOutput::connect(Render render, Events events) {
    control_->connect(std::move(render), std::move(events));
}

void CubebAudioOutput::start() {
    control_->start();
}

void CubebAudioOutput::pause() {
    control_->pause();
}

AudioOutputState CubebAudioOutput::state() const {
    return control_->state();
}

std::uint32_t CubebAudioOutput::periodFrames() const {
    return control_->period();
}

std::uint32_t CubebAudioOutput::latencyFrames() const {
    return control_->latency();
}

} // namespace morvel
