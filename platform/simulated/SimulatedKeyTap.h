// A tap whose keys a test scripts.
#pragma once

#include "platform/KeyTap.h"

namespace morvel {

class SimulatedKeyTap : public KeyTap {
public:
    bool install(Listener& listener) override {
        if (refuses)
            return false;
        ++installations;
        listener_ = &listener;
        enabled = true;
        return true;
    }
    void enable() override { enabled = true; }
    void remove() override {
        ++removals;
        listener_ = nullptr;
        enabled = false;
    }

    void send(const KeyEvent& event) {
        if (listener_ != nullptr && enabled)
            listener_->keyEvent(event);
    }
    void disable(TapDisabledReason reason) {
        enabled = false;
        if (listener_ != nullptr)
            listener_->tapDisabled(reason);
    }
    bool installed() const { return listener_ != nullptr; }

    bool refuses = false;
    bool enabled = false;
    int installations = 0;
    int removals = 0;

private:
    Listener* listener_ = nullptr;
};

} // namespace morvel
