// A button that clicks once as it goes down and once as it comes up. Main thread.
#pragma once

#include "fidget/FidgetSound.h"

namespace morvel {

class ClickyButton {
public:
    explicit ClickyButton(FidgetSound sound)
        : sound_(sound) {}

    // The press and every movement after it: only the first of them presses.
    void dragChanged();
    // Wherever the pointer is then. Nothing without a press.
    void dragEnded();

    bool isPressed() const { return isPressed_; }

private:
    FidgetSound sound_;
    bool isPressed_ = false;
};

} // namespace morvel
