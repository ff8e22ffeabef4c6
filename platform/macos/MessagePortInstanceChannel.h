// The instance of a user's session by a message port, whose name only one process can have at a
// time.
//
// The system keeps the names of each login session apart, and takes a process' name away with it.
#pragma once

#include "platform/InstanceChannel.h"

#include <chrono>
#include <memory>
#include <string>

namespace morvel {

class MessagePortInstanceChannel : public InstanceChannel {
public:
    struct Setup {
        std::string name;
        std::chrono::milliseconds patience = std::chrono::seconds(5); // of one call
    };

    // Touches nothing yet. Main thread.
    explicit MessagePortInstanceChannel(Setup setup);
    // No longer the instance.
    ~MessagePortInstanceChannel() override;
    MessagePortInstanceChannel(const MessagePortInstanceChannel&) = delete;
    MessagePortInstanceChannel& operator=(const MessagePortInstanceChannel&) = delete;

    // Of an instance that ends, its port is waited for, which it gives up last of all.
    Outcome become(std::uint8_t message) override;
    Outcome send(std::uint8_t message) override;
    void receive(Receiver receiver) override;
    std::string failure() const override { return failure_; }

private:
    using Deadline = std::chrono::steady_clock::time_point;
    enum class Exchange : std::uint8_t { gone, delivered, unanswered };
    struct Ports;

    Exchange exchange(std::uint8_t message, Deadline deadline) const;
    bool isGoneBy(Deadline deadline) const;

    const Setup setup_;
    std::string failure_;
    Receiver receiver_;
    std::unique_ptr<Ports> ports_;
};

} // namespace morvel
