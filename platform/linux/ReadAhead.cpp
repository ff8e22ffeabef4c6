#include "platform/linux/ReadAhead.h"

#include "platform/linux/Descriptor.h"

#include <fcntl.h>
#include <linux/ioprio.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <system_error>
#include <utility>

namespace morvel {

namespace {

// Idle priority would keep whoever wants one of the files meanwhile waiting for a busy disk.
constexpr int leastPriority = 7;

void read(const std::stop_token& stop, const std::vector<std::filesystem::path>& files) {
    // Of this thread only, and so of the reading.
    ::syscall(SYS_ioprio_set, IOPRIO_WHO_PROCESS, 0,
              IOPRIO_PRIO_VALUE(IOPRIO_CLASS_BE, leastPriority)); // NOLINT(hicpp-signed-bitwise)
    for (const std::filesystem::path& file : files) {
        if (stop.stop_requested())
            return;
        const Descriptor opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
        if (opened)
            ::posix_fadvise(opened.get(), 0, 0, POSIX_FADV_WILLNEED);
    }
}

} // namespace

std::jthread readAhead(std::vector<std::filesystem::path> files) {
    try {
        return std::jthread(
            [files = std::move(files)](const std::stop_token& stop) { read(stop, files); });
    } catch (const std::system_error&) {
        return {}; // the files are read when they are wanted
    }
}

} // namespace morvel
