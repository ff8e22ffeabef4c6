#include "fidget/Spring.h"

#include <cmath>
#include <numbers>

namespace morvel {

namespace {

// A twentieth of a pixel on the longest way that a toy moves.
constexpr double unnoticeable = 0.0005;

struct Motion {
    double offset; // from the target
    double velocity;
};

Motion underdamped(Motion from, double frequency, double damping, double t) {
    const double decay = damping * frequency;
    const double ringing = frequency * std::sqrt(1 - damping * damping);
    const double a = from.offset;
    const double b = (from.velocity + decay * from.offset) / ringing;
    const double cosine = std::cos(ringing * t);
    const double sine = std::sin(ringing * t);
    const double fade = std::exp(-decay * t);
    return {fade * (a * cosine + b * sine),
            fade * ((b * ringing - a * decay) * cosine - (a * ringing + b * decay) * sine)};
}

Motion criticallyDamped(Motion from, double frequency, double t) {
    const double b = from.velocity + frequency * from.offset;
    const double fade = std::exp(-frequency * t);
    return {fade * (from.offset + b * t), fade * (from.velocity - frequency * b * t)};
}

Motion overdamped(Motion from, double frequency, double damping, double t) {
    const double root = std::sqrt(damping * damping - 1);
    const double slow = -frequency * (damping - root);
    const double fast = -frequency * (damping + root);
    const double b = (from.velocity - slow * from.offset) / (fast - slow);
    const double a = from.offset - b;
    const double slowly = a * std::exp(slow * t);
    const double quickly = b * std::exp(fast * t);
    return {slowly + quickly, slow * slowly + fast * quickly};
}

Motion moved(Motion from, double frequency, double damping, double t) {
    // The two other solutions divide by the distance from critical damping.
    constexpr double critical = 1e-6;
    if (std::abs(damping - 1) < critical)
        return criticallyDamped(from, frequency, t);
    return damping < 1 ? underdamped(from, frequency, damping, t)
                       : overdamped(from, frequency, damping, t);
}

} // namespace

Spring::Spring(double response, double dampingFraction, double value)
    : frequency_(2 * std::numbers::pi / response)
    , dampingFraction_(dampingFraction)
    , value_(value)
    , target_(value) {}

void Spring::setTarget(double target) {
    target_ = target;
}

void Spring::jumpTo(double value) {
    value_ = target_ = value;
    velocity_ = 0;
}

void Spring::advance(double seconds) {
    if (!(seconds > 0) || isSettled())
        return;
    const Motion now = moved({value_ - target_, velocity_}, frequency_, dampingFraction_, seconds);
    if (std::hypot(now.offset, now.velocity / frequency_) < unnoticeable) {
        jumpTo(target_);
        return;
    }
    value_ = target_ + now.offset;
    velocity_ = now.velocity;
}

} // namespace morvel
