// The instance of a user's session: a lock that only it can hold, and a socket beside it on which
// it listens, both in a folder that is the user's alone.
//
// The lock decides who is the instance and goes with its holder however that ends, so what a killed
// one left behind is never mistaken for a running one. Only processes of the same user are heard.
#pragma once

#include "platform/Environment.h"
#include "platform/InstanceChannel.h"
#include "platform/linux/Descriptor.h"

#include <QSocketNotifier>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace morvel {

class UnixInstanceChannel : public InstanceChannel {
public:
    struct Setup {
        // Tried in this order; the last is created where it does not exist. A folder that is not
        // the user's, or in which others may write, is passed over.
        std::vector<std::filesystem::path> folders;
        std::string name; // of the files, without their endings
        std::chrono::milliseconds patience = std::chrono::seconds(5); // of one call
    };

    // Touches nothing yet. Main thread.
    explicit UnixInstanceChannel(Setup setup);
    // No longer the instance. Senders that wait for its end hear of it now.
    ~UnixInstanceChannel() override;
    UnixInstanceChannel(const UnixInstanceChannel&) = delete;
    UnixInstanceChannel& operator=(const UnixInstanceChannel&) = delete;

    Outcome become(std::uint8_t message) override;
    Outcome send(std::uint8_t message) override;
    // Needs a QCoreApplication, which the channel may outlive.
    void receive(Receiver receiver) override;
    std::string failure() const override { return failure_; }

private:
    enum class Exchange : std::uint8_t { gone, delivered, unanswered, foreign };
    using Deadline = std::chrono::steady_clock::time_point;

    Outcome reach(std::uint8_t message, bool stay);
    bool openFolder();
    Descriptor takeLock();
    bool listen();
    Exchange exchange(std::uint8_t message, Deadline deadline) const;
    void unavailable(const std::string& what);
    void serve();
    void admit();
    void hear(int peer);

    Setup setup_;
    std::string failure_;
    Receiver receiver_;
    Descriptor folder_;
    Descriptor lock_; // held: this process is the instance
    Descriptor listener_;
    Descriptor readiness_;             // of the listener and of all peers
    std::vector<Descriptor> peers_;    // oldest first
    std::vector<Descriptor> mourners_; // wait for the end
    std::unique_ptr<QSocketNotifier> notifier_;
};

// The channel of this user's session: one for each display (X11's, or the Wayland compositor's), in
// XDG_RUNTIME_DIR or, without it, in a folder of the user's below /tmp.
UnixInstanceChannel::Setup sessionInstanceChannel(const Environment& environment);

} // namespace morvel
