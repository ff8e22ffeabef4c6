#include "audio/AudioEngineState.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace morvel {

AudioEngine::AudioEngine(Services services, bool traceEnabled)
    : AudioEngine(services, traceEnabled, Options{}) {}

AudioEngine::AudioEngine(Services services, bool traceEnabled, Options options)
    : state_(std::make_unique<State>(services, traceEnabled, std::move(options))) {
    configureLimiter();
    applySubmixVolume();
    connectOutput();
    start();
}

AudioEngine::~AudioEngine() {
    state_->rendering->renderer.close();
}

void AudioEngine::configureLimiter() {
    Limiter& limiter = state_->rendering->renderer.limiter();
    for (const auto& [id, value] : state_->options.limiter) {
        const LimiterStatus status = limiter.setParameter(id, value);
        if (status != LimiterStatus::ok)
            state_->services.log.line(
                fmt::format("Limiter parameter {} failed: {}", id, static_cast<int>(status)));
    }
}

void AudioEngine::connectOutput() {
    AudioOutput::Events events;
    const std::weak_ptr<int> alive = state_->alive;
    events.failed = [this, alive](const std::string& error) {
        if (!alive.expired())
            outputFailed(error);
    };
    events.configurationChanged = [this, alive] {
        if (!alive.expired())
            outputConfigurationChanged();
    };
    state_->services.output.connect(
        [rendering = state_->rendering](float* interleaved, std::uint32_t frames) {
            rendering->renderer.render(interleaved, frames);
        },
        std::move(events));
}

void AudioEngine::start() {
    AudioOutput& output = state_->services.output;
    double patience = state_->options.startPatienceSeconds;
    switch (output.state()) {
    case AudioOutputState::running:
    case AudioOutputState::starting:
        return;
    case AudioOutputState::lost:
        output.start(); // hastens the next attempt
        return;
    case AudioOutputState::paused:
        patience = state_->options.wakePatienceSeconds;
        break;
    case AudioOutputState::stopped:
        break;
    }
    const double now = state_->services.clock.now();
    state_->startPatience = patience;
    state_->startRequested = now;
    state_->waitingSince = now;
    state_->lastSound = now;
    state_->rendering->commands.setPatience(state_->options.startPatienceSeconds, now + patience);
    output.start();
    state_->services.scheduler.async([this, alive = std::weak_ptr<int>(state_->alive)] {
        if (!alive.expired())
            watchStart();
    });
}

bool AudioEngine::isRunning() const {
    return state_->services.output.state() == AudioOutputState::running;
}

// Once a start: forgets what was queued for an output that does not come, or asks for no sound, and
// begins to look for the time to let output sleep again.
void AudioEngine::watchStart() {
    Scheduler& scheduler = state_->services.scheduler;
    state_->startWatch = scheduler.after(state_->startPatience, [this] {
        if (state_->services.output.state() != AudioOutputState::running)
            state_->rendering->commands.forgetSounds();
        else
            renderingStalled(state_->services.clock.now());
    });
    constexpr double longestInterval = 5;
    const double interval = std::min(longestInterval, state_->options.keepWarmSeconds / 4);
    if (!state_->housekeeping)
        state_->housekeeping = scheduler.repeating(interval, [this] { keepHouse(); });
}

void AudioEngine::keepHouse() {
    State& state = *state_;
    state.rendering->commands.collect();
    const auto idle = [&state] {
        return state.services.clock.now() - state.lastSound >= state.options.keepWarmSeconds;
    };
    if (state.loop.category || state.loop.fadeTimer)
        state.lastSound = state.services.clock.now();
    const AudioOutputState output = state.services.output.state();
    const double now = state.services.clock.now();
    if (output == AudioOutputState::running)
        renderingStalled(now);
    const bool awaited =
        output == AudioOutputState::starting && now <= state.startRequested + state.startPatience;
    if (!idle() || awaited)
        return;
    if (output != AudioOutputState::paused)
        state.services.output.pause();
    // A sound that was asked for meanwhile on another thread saw an output that was not paused.
    if (!idle()) {
        start();
        return;
    }
    state.housekeeping.reset(); // the last statement: this function belongs to the timer
}

bool AudioEngine::outputTakesSounds() {
    const double now = state_->services.clock.now();
    switch (state_->services.output.state()) {
    case AudioOutputState::running:
    case AudioOutputState::starting:
        break;
    case AudioOutputState::paused: // just now: keepHouse() sees the sound and starts it again
        return true;
    default:
        return false;
    }
    if (renderingStalled(now))
        return false;
    keepNewestSounds(now);
    return true;
}

// A hung sound server is not lost: it only stops asking for sound. What was queued since then must
// not come out at once when it goes on.
bool AudioEngine::renderingStalled(double now) {
    State& state = *state_;
    const std::uint64_t frames = state.rendering->commands.renderedFrames();
    if (state.progressFrames != frames) {
        state.progressTime = now;
        state.waitingSince = now;
        state.progressFrames = frames; // the last: another thread that sees it sees those too
        return false;
    }
    if (now < std::max(state.progressTime + state.options.startPatienceSeconds,
                       state.startRequested + state.startPatience))
        return false;
    state.rendering->commands.expire();
    return true;
}

void AudioEngine::keepNewestSounds(double now) {
    double since = state_->waitingSince;
    if (now - since > state_->options.startPatienceSeconds &&
        state_->waitingSince.compare_exchange_strong(since, now))
        state_->rendering->commands.expire();
}

void AudioEngine::outputFailed(const std::string& error) {
    state_->rendering->commands.forget();
    state_->services.log.line("AudioEngine failed to start: " + error);
}

void AudioEngine::outputConfigurationChanged() {
    state_->services.scheduler.async([this, alive = std::weak_ptr<int>(state_->alive)] {
        if (!alive.expired())
            handleConfigurationChange();
    });
}

void AudioEngine::handleConfigurationChange() {
    State& state = *state_;
    state.services.log.line(
        fmt::format("Audio configuration changed — restarting engine (running={})", isRunning()));
    const auto interrupted = std::exchange(state.loop.category, std::nullopt);
    state.loop.fadeTimer.reset();
    state.rendering->commands.silence();
    state.pool.freeAll();
    start();
    if (interrupted)
        startLoop(*interrupted, state.loop.gain, state.loop.rate);
    // Output may take its time to come up; how that went is told once it is known.
    if (state.services.output.state() == AudioOutputState::starting)
        state.restartReport = state.services.scheduler.after(state.options.startPatienceSeconds,
                                                             [this] { reportRestart(); });
    else
        reportRestart();
}

void AudioEngine::reportRestart() {
    state_->services.log.line(fmt::format("Audio engine restarted (running={})", isRunning()));
}

void AudioEngine::simulateConfigurationChange() {
    state_->services.log.line("Simulating configuration change (stopping engine)");
    state_->services.output.pause();
    // Started again at once, output would not have stopped at all.
    constexpr double stopSeconds = 0.1;
    state_->simulatedChange =
        state_->services.scheduler.after(stopSeconds, [this] { outputConfigurationChanged(); });
}

void AudioEngine::quiesceForThemeSwap() {
    state_->loop.fadeTimer.reset();
    state_->loop.category.reset();
    state_->rendering->commands.silence();
    state_->pool.freeAllAndForgetWarnings();
    state_->rendering->commands.collect();
}

void AudioEngine::setResolver(std::shared_ptr<const SampleResolving> resolver) {
    const std::lock_guard lock(state_->resolverMutex);
    state_->resolver.swap(resolver);
}

std::optional<ResolvedSample> AudioEngine::resolve(SoundCategory category) const {
    std::shared_ptr<const SampleResolving> theme;
    {
        const std::lock_guard lock(state_->resolverMutex);
        theme = state_->resolver;
    }
    return theme ? theme->sample(category) : std::nullopt;
}

void AudioEngine::applySubmixVolume() {
    setSubmixOutputVolume(state_->muted ? 0 : state_->masterVolume.load());
}

float AudioEngine::masterVolume() const {
    return state_->masterVolume;
}

void AudioEngine::setMasterVolume(float volume) {
    state_->masterVolume = volume;
    applySubmixVolume();
}

bool AudioEngine::isMuted() const {
    return state_->muted;
}

void AudioEngine::setMuted(bool muted) {
    state_->muted = muted;
    applySubmixVolume();
}

float AudioEngine::submixOutputVolume() const {
    return state_->rendering->commands.submixVolume();
}

void AudioEngine::setSubmixOutputVolume(float volume) {
    state_->rendering->commands.setSubmixVolume(clampedVolume(volume));
}

std::optional<std::string> AudioEngine::startRecording(const std::filesystem::path& file) {
    auto created = Recorder::create(file);
    if (!created)
        return created.error().description();
    state_->rendering->renderer.setRecording(&created.value()->ring());
    state_->recorder = std::move(created).value();
    return std::nullopt;
}

void AudioEngine::stopRecording() {
    state_->rendering->renderer.setRecording(nullptr);
    state_->recorder.reset();
}

std::uint64_t AudioEngine::recordingOverflowFrames() const {
    return state_->recorder ? state_->recorder->ring().overflowFrames() : 0;
}

std::uint32_t AudioEngine::limiterDelayFrames() const {
    return state_->rendering->renderer.limiter().delayFrames();
}

std::uint64_t AudioEngine::droppedSoundCount() const {
    return state_->rendering->commands.droppedCount();
}

std::size_t AudioEngine::heldBufferCount() const {
    return state_->rendering->commands.heldBufferCount();
}

} // namespace morvel
