#include "platform/linux/TerminationSignals.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>
#include <utility>

namespace morvel {

namespace {

// Those that the parent wants ignored (as nohup does) stay so.
sigset_t terminating() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        struct sigaction current {};
        sigaction(signal, nullptr, &current);
        if (current.sa_handler != SIG_IGN)
            sigaddset(&set, signal);
    }
    return set;
}

} // namespace

void TerminationSignals::block() {
    const sigset_t set = terminating();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

TerminationSignals::TerminationSignals(std::function<void()> terminate)
    : terminate_(std::move(terminate)) {
    block();
    const sigset_t set = terminating();
    descriptor_ = signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
    notifier_ = std::make_unique<QSocketNotifier>(descriptor_, QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(), [this] {
        signalfd_siginfo info{};
        while (read(descriptor_, &info, sizeof info) == static_cast<ssize_t>(sizeof info))
            terminate_();
    });
}

TerminationSignals::~TerminationSignals() {
    notifier_.reset();
    close(descriptor_);
    const sigset_t set = terminating();
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

} // namespace morvel
