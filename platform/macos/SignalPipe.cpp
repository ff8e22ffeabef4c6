#include "platform/macos/SignalPipe.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>

namespace morvel {

namespace {

constexpr std::array terminating = {SIGTERM, SIGINT, SIGHUP};

// What a signal handler can reach.
std::atomic<const WakePipe*> // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)
    awaiting = nullptr;

void arrived(int) {
    const int interrupted = errno;
    if (const WakePipe* const pipe = awaiting)
        pipe->wake();
    errno = interrupted;
}

void handleWith(void (*handler)(int)) {
    for (const int signal : terminating) {
        struct sigaction current {};
        sigaction(signal, nullptr, &current);
        if (current.sa_handler == SIG_IGN)
            continue;
        struct sigaction wanted {};
        wanted.sa_handler = handler;
        wanted.sa_flags = SA_RESTART;
        sigemptyset(&wanted.sa_mask);
        sigaction(signal, &wanted, nullptr);
    }
}

} // namespace

SignalPipe::SignalPipe() {
    awaiting = &pipe_;
    handleWith(arrived);
}

SignalPipe::~SignalPipe() {
    handleWith(SIG_DFL);
    awaiting = nullptr;
}

} // namespace morvel
