#include "fidget/ToggleSwitch.h"

namespace morvel {

void ToggleSwitch::tap() {
    isOn_ = !isOn_;
    sound_.play(isOn_ ? SoundCategory::toggleOn : SoundCategory::toggleOff);
}

} // namespace morvel
