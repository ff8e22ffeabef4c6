#include "platform/PreferredAudioOutput.h"

#include <algorithm>
#include <utility>

namespace morvel {

namespace {

// How often the first choice looks at the preferred output, which tells the main thread alone: at
// the program's start that one has other things to do.
constexpr std::chrono::milliseconds glance(2);
// How often, in seconds, and how many times at most an output is looked at that has joined in
// during an outage.
constexpr double closeLookInterval = 0.05;
constexpr int mostCloseLooks = 60;

} // namespace

PreferredAudioOutput::PreferredAudioOutput(std::unique_ptr<AudioOutput> preferred,
                                           std::unique_ptr<AudioOutput> fallback,
                                           Scheduler& scheduler)
    : PreferredAudioOutput(std::move(preferred), std::move(fallback), scheduler, Options{}) {}

PreferredAudioOutput::PreferredAudioOutput(std::unique_ptr<AudioOutput> preferred,
                                           std::unique_ptr<AudioOutput> fallback,
                                           Scheduler& scheduler, Options options)
    : scheduler_(scheduler)
    , options_(options)
    , preferred_{std::move(preferred)}
    , fallback_{std::move(fallback)} {}

PreferredAudioOutput::~PreferredAudioOutput() = default;

void PreferredAudioOutput::connect(Render render, Events events) {
    render_ = std::move(render);
    events_ = std::move(events);
    connect(preferred_);
    connect(fallback_);
}

void PreferredAudioOutput::connect(Candidate& candidate) {
    Events events;
    events.started = [this] { look(); };
    events.failed = [this, &candidate](const std::string& error) { lost(candidate, error); };
    events.configurationChanged = [this, &candidate] { changed(candidate); };
    candidate.output->connect(
        [this, &candidate](float* interleaved, std::uint32_t frames) {
            render(candidate, interleaved, frames);
        },
        std::move(events));
}

void PreferredAudioOutput::render(const Candidate& candidate, float* interleaved,
                                  std::uint32_t frames) {
    const Candidate* nobody = nullptr;
    heard_.compare_exchange_strong(nobody, &candidate); // the first one to run
    if (heard_ != &candidate || rendering_.test_and_set(std::memory_order_acquire)) {
        std::fill_n(interleaved, 2 * static_cast<std::size_t>(frames), 0.0F);
        return;
    }
    render_(interleaved, frames);
    rendering_.clear(std::memory_order_release);
}

void PreferredAudioOutput::start() {
    const std::lock_guard lock(mutex_);
    const bool resumes = !wanted_.exchange(true);
    if (!everStarted_.exchange(true)) {
        preferred_.takesPart = true;
        preferred_.output->start();
        chooser_ = std::jthread([this](const std::stop_token& stop) { choose(stop); });
        return;
    }
    if (resumes)
        heard_ = nullptr; // the first one to run
    if (resumes && fallback_.takesPart) {
        preferred_.takesPart = true;
        scheduler_.async([this, alive = std::weak_ptr<int>(alive_)] {
            if (!alive.expired() && wanted_ && !leaving_)
                awaitPreferred();
        });
    }
    for (Candidate* const candidate : {&preferred_, &fallback_})
        if (candidate->takesPart)
            candidate->output->start();
}

void PreferredAudioOutput::choose(const std::stop_token& stop) {
    const auto deadline = std::chrono::steady_clock::now() + options_.answerLimit;
    {
        std::unique_lock lock(mutex_);
        while (!chosen_ && preferred_.output->state() == AudioOutputState::starting &&
               std::chrono::steady_clock::now() < deadline && !stop.stop_requested())
            wake_.wait_for(lock, stop, glance, [] { return false; });
    }
    if (!stop.stop_requested() && !chosen_ && !runs(preferred_))
        join(fallback_);
    chosen_ = true;
}

void PreferredAudioOutput::pause() {
    const std::lock_guard lock(mutex_);
    if (!wanted_.exchange(false))
        return;
    outage_ = false;
    watch_.reset();
    closeWatch_.reset();
    leaving_.reset();
    for (Candidate* const candidate : {&preferred_, &fallback_})
        if (candidate->takesPart)
            candidate->output->pause();
}

AudioOutputState PreferredAudioOutput::state() const {
    if (!wanted_)
        return everStarted_ ? AudioOutputState::paused : AudioOutputState::stopped;
    const bool bothAsked = chosen_ || fallback_.takesPart;
    AudioOutputState best = bothAsked ? AudioOutputState::lost : AudioOutputState::starting;
    for (const Candidate* const candidate : {&preferred_, &fallback_}) {
        if (runs(*candidate))
            return AudioOutputState::running;
        if (candidate->takesPart && candidate->output->state() == AudioOutputState::starting)
            best = AudioOutputState::starting;
    }
    return best;
}

const AudioOutput& PreferredAudioOutput::current() const {
    const Candidate* const heard = heard_;
    if (heard != nullptr)
        return *heard->output;
    return fallback_.takesPart ? *fallback_.output : *preferred_.output;
}

bool PreferredAudioOutput::runs(const Candidate& candidate) const {
    return candidate.takesPart && candidate.output->state() == AudioOutputState::running;
}

void PreferredAudioOutput::join(Candidate& candidate) {
    const std::lock_guard lock(mutex_);
    if (!candidate.takesPart.exchange(true) && wanted_)
        candidate.output->start();
}

void PreferredAudioOutput::leave(Candidate& candidate) {
    const std::lock_guard lock(mutex_);
    if (candidate.takesPart.exchange(false))
        candidate.output->pause();
}

void PreferredAudioOutput::awaitPreferred() {
    leaving_ = scheduler_.after(options_.lateLimit, [this] { timeIsUp(); });
}

void PreferredAudioOutput::timeIsUp() {
    leaving_.reset();
    if (runs(preferred_))
        look();
    else if (runs(fallback_))
        leave(preferred_);
    else if (!outage_) // nor has either failed: a device may take its time to wake
        awaitPreferred();
}

// Which one is heard, if any.
void PreferredAudioOutput::look() {
    if (!wanted_)
        return;
    if (runs(preferred_))
        settle(preferred_);
    else if (runs(fallback_))
        settle(fallback_);
}

void PreferredAudioOutput::lookAtOutage() {
    look();
    if (!outage_ || fallback_.takesPart ||
        ++vainLooks_ * options_.lookInterval < options_.returnLimit)
        return;
    join(fallback_);
    lookClosely();
}

// One that has been heard before runs again without a word.
void PreferredAudioOutput::lookClosely() {
    closeLooks_ = 0;
    closeWatch_ = scheduler_.repeating(closeLookInterval, [this] {
        if (++closeLooks_ <= mostCloseLooks)
            look();
        else
            closeWatch_.reset();
    });
}

void PreferredAudioOutput::settle(Candidate& candidate) {
    chosen_ = true;
    const Candidate* const before = heard_.exchange(&candidate);
    const bool back = std::exchange(outage_, false);
    const bool first = !std::exchange(everRan_, true);
    if (&candidate == &preferred_) {
        leaving_.reset();
        leave(fallback_);
    } else if (preferred_.takesPart && !leaving_) {
        awaitPreferred();
    }
    watch_.reset();
    closeWatch_.reset();
    if (first && !back) {
        if (events_.started)
            events_.started();
    } else if (back || (before != nullptr && before != &candidate)) {
        if (events_.configurationChanged)
            events_.configurationChanged();
    }
}

void PreferredAudioOutput::lost(Candidate& candidate, const std::string& error) {
    if (!wanted_ || !candidate.takesPart)
        return;
    Candidate& other = &candidate == &preferred_ ? fallback_ : preferred_;
    if (runs(other)) {
        look();
        return;
    }
    const bool wasHeard = everRan_ && heard_ == &candidate;
    const bool joins = !wasHeard || &other == &preferred_;
    if (joins)
        join(other); // else only once the preferred one has not come back by itself
    if (wasHeard || other.output->state() == AudioOutputState::lost)
        reportLoss(error);
    if (everRan_ && joins)
        lookClosely();
}

void PreferredAudioOutput::reportLoss(const std::string& error) {
    if (std::exchange(outage_, true))
        return;
    vainLooks_ = 0;
    watch_ = scheduler_.repeating(options_.lookInterval, [this] { lookAtOutage(); });
    if (events_.failed)
        events_.failed(error);
}

void PreferredAudioOutput::changed(const Candidate& candidate) {
    const bool known = heard_ == &candidate && !outage_ && everRan_ && runs(candidate);
    look();
    if (known && events_.configurationChanged)
        events_.configurationChanged();
}

} // namespace morvel
