// Tells when a server's socket appears, which is when there is a server again.
#pragma once

#include "platform/linux/Descriptor.h"

#include <filesystem>
#include <string>

namespace morvel {

class SocketWatch {
public:
    // Watches for a socket of this path; its folder may come later, too. With an empty path, or
    // where the kernel refuses, nothing is ever missing and nothing ever told.
    explicit SocketWatch(std::filesystem::path socket);

    // Whether there is no such socket, and its coming will be told.
    bool missing() const;
    // Readable when appeared() has something to look at; -1: never.
    int descriptor() const { return events_.get(); }
    // Whether it has appeared since the last call. Does not wait.
    bool appeared();

private:
    void arm();

    std::filesystem::path socket_;
    Descriptor events_;
    int watch_ = -1;
    std::filesystem::path awaited_; // the socket, or the topmost folder on its way that is missing
};

} // namespace morvel
