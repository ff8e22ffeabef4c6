// A popover that closes when a test says so.
#pragma once

#include "app/windows/Popover.h"

#include <utility>

namespace morvel::test {

class SimulatedPopover : public Popover {
public:
    struct State {
        bool shown = false;
        bool asWindow = false;
        int openings = 0;
        bool closing = false;
        int closeRequests = 0;
        int broughtToFront = 0;
        std::optional<QRect> anchor;
        std::function<void()> didClose;

        void finishClosing() {
            shown = false;
            closing = false;
            didClose();
        }
    };

    explicit SimulatedPopover(State& state)
        : state_(state) {}

    bool isShown() const override { return state_.shown; }
    void show(const std::optional<QRect>& anchor) override {
        if (state_.shown && !std::exchange(state_.closing, false))
            return;
        open(false);
        state_.anchor = anchor;
    }
    void showAsWindow() override {
        if (state_.shown)
            ++state_.broughtToFront;
        else
            open(true);
    }
    void close() override {
        ++state_.closeRequests;
        state_.closing = true;
    }
    void setDidClose(std::function<void()> didClose) override {
        state_.didClose = std::move(didClose);
    }

private:
    void open(bool asWindow) {
        state_.shown = true;
        state_.asWindow = asWindow;
        ++state_.openings;
    }

    State& state_;
};

} // namespace morvel::test
