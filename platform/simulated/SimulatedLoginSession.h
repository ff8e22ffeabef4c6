// A login session that a test switches to and away from.
#pragma once

#include "platform/LoginSession.h"

#include <utility>

namespace morvel {

class SimulatedLoginSession : public LoginSession {
public:
    bool isActive() const override { return active_; }
    std::string seat() const override { return seat_; }
    void setChangeHandler(std::function<void()> changed) override { changed_ = std::move(changed); }

    void setActive(bool active) {
        active_ = active;
        tell();
    }
    void setSeat(std::string seat) {
        seat_ = std::move(seat);
        tell();
    }

private:
    void tell() const {
        if (changed_)
            changed_();
    }

    bool active_ = true;
    std::string seat_ = "seat0";
    std::function<void()> changed_;
};

} // namespace morvel
