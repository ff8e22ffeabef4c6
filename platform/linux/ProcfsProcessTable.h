// The process table in procfs. Any thread.
#pragma once

#include "platform/ProcessTable.h"

#include <filesystem>

namespace morvel {

class ProcfsProcessTable : public ProcessTable {
public:
    explicit ProcfsProcessTable(std::filesystem::path procfs = "/proc");

    std::int32_t ownPid() const override;
    // None for a kernel thread, another user's process or one that is gone. Paths beyond 4096 bytes
    // are cut there.
    std::optional<std::string> executablePath(std::int32_t pid) const override;
    std::optional<std::int32_t> parentPid(std::int32_t pid) const override;

private:
    std::filesystem::path fileOf(std::int32_t pid, const char* name) const;

    const std::filesystem::path procfs_;
};

} // namespace morvel
