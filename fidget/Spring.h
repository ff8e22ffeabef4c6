// A damped harmonic oscillator that carries a value to its target, solved exactly: how often it is
// advanced does not change its path. A plain value.
#pragma once

namespace morvel {

class Spring {
public:
    // `response`: the period without damping, seconds, above 0. `dampingFraction`: of the damping
    // that just does not overshoot, at least 0 (at 0 it never settles).
    Spring(double response, double dampingFraction, double value = 0);

    double value() const { return value_; }
    double velocity() const { return velocity_; } // a second
    double target() const { return target_; }

    // From where it is, as fast as it is: neither value nor velocity jumps.
    void setTarget(double target);

    // There at once, at rest.
    void jumpTo(double value);

    // Lets `seconds` pass (nothing for less than 0). Once no more than an unnoticeable part of a
    // movement from 0 to 1 is left it rests on the target exactly.
    void advance(double seconds);

    bool isSettled() const { return value_ == target_ && velocity_ == 0; }

private:
    double frequency_; // radians a second, without damping
    double dampingFraction_;
    double value_;
    double velocity_ = 0;
    double target_;
};

} // namespace morvel
