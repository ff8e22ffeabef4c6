// A channel whose other side is the test.
#pragma once

#include "platform/InstanceChannel.h"

#include <optional>
#include <utility>
#include <vector>

namespace morvel {

class SimulatedInstanceChannel : public InstanceChannel {
public:
    explicit SimulatedInstanceChannel(Outcome outcome)
        : outcome_(outcome) {}

    Outcome become(std::uint8_t message) override {
        wantsToBecome_ = true;
        return send(message);
    }
    Outcome send(std::uint8_t message) override {
        sent_.push_back(message);
        return outcome_;
    }
    void receive(Receiver receiver) override { receiver_ = std::move(receiver); }
    std::string failure() const override { return "simulated"; }

    // As if another process had sent it.
    Reception arrive(std::uint8_t message) { return receiver_(message); }
    bool wantsToBecome() const { return wantsToBecome_; }
    const std::vector<std::uint8_t>& sent() const { return sent_; }

private:
    Outcome outcome_;
    bool wantsToBecome_ = false;
    Receiver receiver_;
    std::vector<std::uint8_t> sent_;
};

} // namespace morvel
