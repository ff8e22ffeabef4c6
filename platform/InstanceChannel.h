// How a second start of the program finds the first and hands it a message of one byte. Adapters:
// platform/linux (a socket in the user's runtime folder), platform/macos (a message port),
// platform/simulated.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace morvel {

class InstanceChannel {
public:
    enum class Outcome : std::uint8_t {
        alone,      // no instance runs: become() made this process the instance, send() did nothing
        delivered,  // the instance has taken the message; with Reception::ending its process has
                    // ended too
        unanswered, // an instance runs but did not answer in time
        unavailable, // there is no channel, failure() says why
    };

    // What the instance makes of a message.
    enum class Reception : std::uint8_t {
        refused,  // not a message at all: its sender gets no answer
        accepted, // taken
        ending,   // taken, and the instance ends: it hears nothing more, and its sender waits until
                  // the channel is destroyed and the process gone
    };
    using Receiver = std::function<Reception(std::uint8_t message)>;

    virtual ~InstanceChannel() = default;

    // Makes this process the instance, which it is until the channel is destroyed, or hands
    // `message` to the one that runs. Of any number of processes that call it at once, exactly one
    // becomes the instance. May wait a few seconds. Needs no run loop.
    virtual Outcome become(std::uint8_t message) = 0;

    // Hands `message` to the instance that runs. May wait a few seconds. Needs no run loop.
    virtual Outcome send(std::uint8_t message) = 0;

    // For the instance, once the main run loop exists: `receiver` is called from it for every
    // message, those sent since become() included. It is to return soon, for a sender waits for it,
    // and must not destroy the channel. Does nothing where this process is not the instance.
    virtual void receive(Receiver receiver) = 0;

    // Why the last call answered `unavailable`; printable, without a full stop.
    virtual std::string failure() const = 0;
};

} // namespace morvel
