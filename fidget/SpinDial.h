// A knob that clicks at every detent and whirs while it is dragged. Main thread.
#pragma once

#include "app/settings/AppSettings.h"
#include "audio/AudioEngine.h"
#include "fidget/DialTickCounter.h"
#include "fidget/FidgetSound.h"
#include "fidget/VelocityDynamics.h"

#include <cstdint>
#include <optional>

namespace morvel {

class SpinDial {
public:
    struct Point {
        double x = 0;
        double y = 0; // downwards
    };

    // Both must outlive the dial.
    SpinDial(const AppSettings& settings, AudioEngine& audio);
    // Ends a drag that still goes on.
    ~SpinDial();
    SpinDial(const SpinDial&) = delete;
    SpinDial& operator=(const SpinDial&) = delete;

    // The press that begins a drag, silent, and every pointer event until dragEnded(). `point` and
    // the knob's `centre` in points of the same space, `now` in seconds of a steady clock.
    void dragChanged(Point point, Point centre, double now);
    // The whir fades away; a loop of another category is left alone.
    void dragEnded();

    // Turns by whole detents without a drag, clockwise for a positive count.
    void turn(int detents);

    double rotation() const { return tickCounter_.rotation; } // degrees clockwise, not wrapped
    std::int64_t detentIndex() const { return tickCounter_.detentIndex; }
    bool isDragging() const { return previous_.has_value(); }

private:
    struct Sample {
        double angle; // degrees
        Point location;
        double timestamp; // seconds
    };

    void whir(const VelocityDynamics::Reading& reading);
    void tick(int count);

    const AppSettings& settings_;
    AudioEngine& audio_;
    FidgetSound sound_;
    DialTickCounter tickCounter_;
    std::optional<Sample> previous_;
    VelocityDynamics dynamics_;
};

} // namespace morvel
