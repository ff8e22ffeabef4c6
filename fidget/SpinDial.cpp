#include "fidget/SpinDial.h"

#include <cmath>
#include <numbers>

namespace morvel {

namespace {

constexpr double fadeOutSeconds = 0.1;
constexpr double sameInstantStep = 0.001; // seconds

} // namespace

SpinDial::SpinDial(const AppSettings& settings, AudioEngine& audio)
    : settings_(settings)
    , audio_(audio)
    , sound_(settings, audio) {}

SpinDial::~SpinDial() {
    if (isDragging())
        dragEnded();
}

void SpinDial::dragChanged(Point point, Point centre, double now) {
    const double angle =
        std::atan2(point.y - centre.y, point.x - centre.x) * 180 / std::numbers::pi;
    if (previous_) {
        const int ticks = tickCounter_.advance(shortestAngularDelta(previous_->angle, angle));
        const double timestamp = now == previous_->timestamp ? now + sameInstantStep : now;
        whir(dynamics_.ingest(point.x - previous_->location.x, point.y - previous_->location.y,
                              timestamp));
        tick(ticks);
    } else {
        tickCounter_.resync();
    }
    previous_ = {angle, point, now};
}

void SpinDial::dragEnded() {
    previous_.reset();
    dynamics_ = {};
    if (audio_.loopCategory() == SoundCategory::dialLoop)
        audio_.stopLoop(fadeOutSeconds);
}

void SpinDial::turn(int detents) {
    tick(tickCounter_.advance(detents * DialTickCounter::detentSpacing));
}

// A loop that another toy, a theme swap or the module's switch has ended is asked for again at
// every event. One that runs only follows the volume: the switch stops no loop.
void SpinDial::whir(const VelocityDynamics::Reading& reading) {
    if (audio_.loopCategory() == SoundCategory::dialLoop)
        audio_.updateLoop(reading.gain * settings_.fidgetVolume(), reading.rate);
    else
        sound_.startLoop(SoundCategory::dialLoop, reading.gain, reading.rate);
}

void SpinDial::tick(int count) {
    for (int i = 0; i < count; ++i)
        sound_.play(SoundCategory::dialTick);
}

} // namespace morvel
