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

    // Waits until sound goes to this sink by default; answers whether it does within `limit`.
    bool awaitDefaultSink(const std::string& name,
                          std::chrono::milliseconds limit = std::chrono::seconds(10));
    void setDefaultSink(const std::string& name);
    void removeSink(const std::string& name);
    // The length of all periods, in frames of the server; 0: as the clients ask for.
    void forcePeriod(int frames);

private:
    PipeWireClient();

    struct State;
    std::unique_ptr<State> state_;
};

} // namespace morvel::test
