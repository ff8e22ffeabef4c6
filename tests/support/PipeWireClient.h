// Looks at a PipeWire server and gives it orders, as its control panel does.
#pragma once

#include <chrono>
#include <memory>
#include <string>

namespace morvel::test {

class PipeWireClient {
public:
    // Null where no server listens at this socket.
    static std::unique_ptr<PipeWireClient> connect(const std::string& address);
    ~PipeWireClient();
    PipeWireClient(const PipeWireClient&) = delete;
    PipeWireClient& operator=(const PipeWireClient&) = delete;

    // Waits until there is a session manager; answers whether there is within `limit`.
    bool awaitManager(std::chrono::milliseconds limit);
    // Waits until sound goes to this sink by default; answers whether it does within `limit`.
    bool awaitDefaultSink(const std::string& name,
                          std::chrono::milliseconds limit = std::chrono::seconds(10));
    void setDefaultSink(const std::string& name);
    // Adds a sink like the server's own; it is there as long as this client.
    void addSink(const std::string& name);
    void removeSink(const std::string& name);
    // Waits until the sink has been suspended; answers whether that was within `limit`.
    bool awaitSuspended(const std::string& sink,
                        std::chrono::milliseconds limit = std::chrono::seconds(20));
    // The length of all periods, in frames of the server; 0: as the clients ask for.
    void forcePeriod(int frames);

private:
    PipeWireClient();

    struct State;
    std::unique_ptr<State> state_;
};

} // namespace morvel::test
