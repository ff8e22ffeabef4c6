// The process table by libproc. Any thread.
#pragma once

#include "platform/ProcessTable.h"

namespace morvel {

class LibprocProcessTable : public ProcessTable {
public:
    std::int32_t ownPid() const override;
    std::optional<std::string> executablePath(std::int32_t pid) const override;
    std::optional<std::int32_t> parentPid(std::int32_t pid) const override;
};

} // namespace morvel
