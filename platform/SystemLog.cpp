#include "platform/SystemLog.h"

#include <poll.h>
#include <syslog.h>
#include <unistd.h>

#include <csignal>

namespace morvel {

SystemLog::SystemLog() {
    // The reader of standard error may go away; that must not be the end of the program.
    std::signal(SIGPIPE, SIG_IGN);
    openlog("morvel", LOG_PID | LOG_NDELAY, LOG_USER);
}

SystemLog::~SystemLog() {
    closelog();
}

void SystemLog::write(const std::string& line) {
    syslog(LOG_NOTICE, "%s", line.c_str());
    // Standard error may be a pipe that nobody empties: a line for it must not hold up the keys.
    pollfd output{STDERR_FILENO, POLLOUT, 0};
    if (poll(&output, 1, 0) != 1 || (output.revents & POLLOUT) == 0)
        return;
    // One write a line, so that lines of several threads do not mix.
    const std::string complete = line + '\n';
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, complete.data(), complete.size());
}

} // namespace morvel
