// Tells when a server's socket appears, which is when there is a server again.
#pragma once

#include "platform/linux/Descriptor.h"
#include "platform/output/ServerStream.h"

#include <filesystem>
#include <memory>
#include <string>

namespace morvel {

class SocketWatch : public ServerWatch {
public:
    // Watches for a socket of this path; its folder may come later, too. With an empty path, or
    // where the kernel refuses, nothing is ever missing and nothing ever told.
    explicit SocketWatch(std::filesystem::path socket);

    // Whether there is no such socket, and its coming will be told.
    bool missing() const override;
    // Readable when appeared() has something to look at; -1: never.
    int descriptor() const override { return events_.get(); }
    // Whether it has appeared since the last call. Does not wait.
    bool appeared() override;

private:
    void arm();

    std::filesystem::path socket_;
    Descriptor events_;
    int watch_ = -1;
    std::filesystem::path awaited_; // the socket, or the topmost folder on its way that is missing
};

// For an OutputServer.
std::unique_ptr<ServerWatch> watchSocket(const std::filesystem::path& socket);

} // namespace morvel
