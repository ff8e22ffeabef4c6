// Posts into a simulated tap, one turn of the main run loop later.
#pragma once

#include "platform/KeyEventPoster.h"
#include "platform/Scheduler.h"
#include "platform/simulated/SimulatedKeyTap.h"

#include <set>

namespace morvel {

class SimulatedKeyEventPoster : public KeyEventPoster {
public:
    // Both must outlive what is posted.
    SimulatedKeyEventPoster(SimulatedKeyTap& tap, Scheduler& scheduler)
        : tap_(tap)
        , scheduler_(scheduler) {}

    bool post(std::int64_t keyCode, Motion motion) override {
        if (refuses || held.contains(keyCode) == (motion == Motion::down))
            return false;
        if (motion == Motion::down)
            held.insert(keyCode);
        else if (motion == Motion::up)
            held.erase(keyCode);
        const KeyEvent event{motion == Motion::up ? keyUpEventType : keyDownEventType,
                             neutralKeyCode, 0, motion == Motion::repeat ? 1 : 0, 0};
        scheduler_.async([this, event] { tap_.send(event); });
        return true;
    }

    bool refuses = false;
    std::set<std::int64_t> held;

private:
    SimulatedKeyTap& tap_;
    Scheduler& scheduler_;
};

} // namespace morvel
