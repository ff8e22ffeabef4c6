#include "tests/support/SessionBus.h"

#include "tests/support/MainLoop.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <QDBusConnectionInterface>
#include <QDBusServiceWatcher>
#include <array>
#include <stdexcept>

namespace morvel::test {

namespace {

// Waits for a process that is not a child.
void awaitEnd(pid_t pid) {
    const int handle = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    if (handle < 0)
        return;
    pollfd readable{handle, POLLIN, 0};
    poll(&readable, 1, 10000);
    close(handle);
}

} // namespace

SessionBus::SessionBus(const std::filesystem::path& folder, std::vector<std::string> environment) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe for the bus' address");
    process_ = std::make_unique<ChildProcess>(ChildProcess::Setup{
        .command = {"dbus-daemon", "--session", "--nofork", "--nopidfile", "--nosyslog",
                    "--address=unix:path=" + (folder / "bus").string(),
                    "--print-address=" + std::to_string(ends[1])},
        .environment = std::move(environment),
        .standardErrorFile = (folder / "bus.log").string(),
        .inheritedDescriptors = {ends[1]}});
    close(ends[1]);
    pollfd readable{ends[0], POLLIN, 0};
    char c = 0;
    while (poll(&readable, 1, 20000) == 1 && read(ends[0], &c, 1) == 1 && c != '\n')
        address_.push_back(c);
    close(ends[0]);
    static int count = 0;
    name_ = QString("test-bus-%1").arg(++count);
    connection_ = std::make_unique<QDBusConnection>(
        QDBusConnection::connectToBus(QString::fromStdString(address_), name_));
    if (!connection_->isConnected())
        throw std::runtime_error("the session bus did not start");
}

SessionBus::~SessionBus() {
    std::vector<pid_t> services;
    const QStringList names = connection_->interface()->registeredServiceNames();
    for (const QString& name : names)
        if (const pid_t pid = processOf(name); pid != getpid() && pid != process_->pid())
            services.push_back(pid);
    connection_.reset();
    QDBusConnection::disconnectFromBus(name_);
    process_.reset();
    for (const pid_t pid : services)
        awaitEnd(pid);
}

bool SessionBus::hasName(const QString& name) const {
    return connection_->interface()->isServiceRegistered(name);
}

pid_t SessionBus::processOf(const QString& name) const {
    const QDBusReply<uint> reply = connection_->interface()->servicePid(name);
    return reply.isValid() ? static_cast<pid_t>(reply.value()) : 0;
}

bool SessionBus::awaitName(const QString& name, std::chrono::milliseconds limit) const {
    return awaitOwned(name, true, limit);
}

bool SessionBus::awaitNoName(const QString& name, std::chrono::milliseconds limit) const {
    return awaitOwned(name, false, limit);
}

// The watcher's events wake the loop.
bool SessionBus::awaitOwned(const QString& name, bool owned,
                            std::chrono::milliseconds limit) const {
    const QDBusServiceWatcher watcher(name, *connection_, QDBusServiceWatcher::WatchForOwnerChange);
    return runUntil([&] { return hasName(name) == owned; }, limit);
}

} // namespace morvel::test
