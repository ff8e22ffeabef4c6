#include "platform/macos/LibprocProcessTable.h"

#include "platform/Utf8.h"
#include "platform/macos/Frameworks.h"

#include <unistd.h>

#include <array>

namespace morvel {

std::int32_t LibprocProcessTable::ownPid() const {
    return ::getpid();
}

std::optional<std::string> LibprocProcessTable::executablePath(std::int32_t pid) const {
    std::array<char, PROC_PIDPATHINFO_MAXSIZE + 1> path{};
    if (proc_pidpath(pid, path.data(), PROC_PIDPATHINFO_MAXSIZE) < 1)
        return std::nullopt;
    return asValidUtf8(path.data());
}

std::optional<std::int32_t> LibprocProcessTable::parentPid(std::int32_t pid) const {
    static_assert(sizeof(proc_bsdinfo) == 136);
    constexpr int size = sizeof(proc_bsdinfo);
    proc_bsdinfo info{};
    if (proc_pidinfo(pid, PROC_PIDTBSDINFO, 0, &info, size) != size)
        return std::nullopt;
    return static_cast<std::int32_t>(info.pbi_ppid);
}

} // namespace morvel
