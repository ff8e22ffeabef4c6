#include "platform/output/WakePipe.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>

namespace morvel {

WakePipe::WakePipe() {
    std::array<int, 2> ends{-1, -1};
#ifdef __linux__ // in one step: a process that is started meanwhile inherits nothing
    if (::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0)
        return;
#else
    if (::pipe(ends.data()) != 0)
        return;
    for (const int end : ends) {
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
        ::fcntl(end, F_SETFL, O_NONBLOCK);
    }
#endif
    reader_ = FileDescriptor(ends[0]);
    writer_ = FileDescriptor(ends[1]);
}

// A pipe that is full is readable as well.
void WakePipe::wake() const {
    [[maybe_unused]] const auto written = ::write(writer_.number(), "w", 1);
}

void WakePipe::clear() const {
    std::array<char, 64> words{};
    while (::read(reader_.number(), words.data(), words.size()) > 0) {
    }
}

} // namespace morvel
