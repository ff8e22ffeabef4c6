#include "fidget/ClickyButton.h"

namespace morvel {

void ClickyButton::dragChanged() {
    if (isPressed_)
        return;
    isPressed_ = true;
    sound_.play(SoundCategory::buttonDown);
}

void ClickyButton::dragEnded() {
    if (!isPressed_)
        return;
    isPressed_ = false;
    sound_.play(SoundCategory::buttonUp);
}

} // namespace morvel
