// The system's processes. Adapters: platform/linux (procfs), platform/macos (libproc),
// platform/simulated.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace morvel {

class ProcessTable {
public:
    virtual ~ProcessTable() = default;

    virtual std::int32_t ownPid() const = 0;

    // The process's executable; none where the system does not tell. UTF-8, invalid sequences
    // repaired.
    virtual std::optional<std::string> executablePath(std::int32_t pid) const = 0;

    // None where the process is gone or the system does not tell.
    virtual std::optional<std::int32_t> parentPid(std::int32_t pid) const = 0;
};

} // namespace morvel
