#include "platform/linux/RealtimeThread.h"

#include <fmt/format.h>
#include <sched.h>
#include <sys/resource.h>

#include <QDBusInterface>
#include <QDBusReply>
#include <QVariant>
#include <algorithm>
#include <cerrno>
#include <ctime>
#include <system_error>

namespace morvel {

namespace {

// Low among the real-time priorities: the sound server's own threads come first.
constexpr int priority = 4;
constexpr int serviceTimeout = 1000; // ms

// The kernel's number of a thread: its clock's number holds it, complemented, above three bits
// (linux/posix-timers.h).
std::optional<pid_t> kernelThread(pthread_t thread) {
    clockid_t clock = 0;
    if (pthread_getcpuclockid(thread, &clock) != 0)
        return std::nullopt;
    return static_cast<pid_t>(~(clock >> 3));
}

// RealtimeKit serves only processes that cannot hold up the machine.
bool limitComputing(std::int64_t microseconds) {
    rlimit limit{};
    if (microseconds <= 0 || getrlimit(RLIMIT_RTTIME, &limit) != 0)
        return false;
    limit.rlim_cur = std::min(limit.rlim_cur, static_cast<rlim_t>(microseconds));
    limit.rlim_max = std::min(limit.rlim_max, static_cast<rlim_t>(microseconds));
    return setrlimit(RLIMIT_RTTIME, &limit) == 0;
}

std::optional<std::string> askRealtimeKit(pid_t thread, const QDBusConnection& bus) {
    QDBusInterface service(QStringLiteral("org.freedesktop.RealtimeKit1"),
                           QStringLiteral("/org/freedesktop/RealtimeKit1"),
                           QStringLiteral("org.freedesktop.RealtimeKit1"), bus);
    service.setTimeout(serviceTimeout);
    if (!service.isValid())
        return "RealtimeKit is not there";
    if (!limitComputing(service.property("RTTimeUSecMax").toLongLong()))
        return "RealtimeKit names no time limit";
    const int highest = service.property("MaxRealtimePriority").toInt();
    const QDBusReply<void> reply =
        service.call(QStringLiteral("MakeThreadRealtime"), QVariant::fromValue<quint64>(thread),
                     QVariant::fromValue<quint32>(std::clamp(highest, 1, priority)));
    if (!reply.isValid())
        return reply.error().message().toStdString();
    return std::nullopt;
}

} // namespace

std::optional<std::string> makeRealtime(pthread_t thread) {
    const auto number = kernelThread(thread);
    if (!number)
        return "the thread has ended";
    sched_param parameters{};
    parameters.sched_priority = priority;
    if (sched_setscheduler(*number, SCHED_RR | SCHED_RESET_ON_FORK, &parameters) == 0)
        return std::nullopt;
    if (errno != EPERM)
        return fmt::format("sched_setscheduler: {}", std::generic_category().message(errno));
    return askRealtimeKit(*number, QDBusConnection::systemBus());
}

std::optional<std::string> makeRealtimeByService(pthread_t thread, const QDBusConnection& bus) {
    const auto number = kernelThread(thread);
    if (!number)
        return "the thread has ended";
    return askRealtimeKit(*number, bus);
}

} // namespace morvel
