// A switch that clicks either way. Main thread.
#pragma once

#include "fidget/FidgetSound.h"

namespace morvel {

class ToggleSwitch {
public:
    explicit ToggleSwitch(FidgetSound sound)
        : sound_(sound) {}

    // Flips the switch.
    void tap();

    bool isOn() const { return isOn_; }

private:
    FidgetSound sound_;
    bool isOn_ = false;
};

} // namespace morvel
