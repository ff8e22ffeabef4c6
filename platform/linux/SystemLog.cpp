#include "platform/linux/SystemLog.h"

#include <syslog.h>
#include <unistd.h>

namespace morvel {

SystemLog::SystemLog() {
    openlog("morvel", LOG_PID | LOG_NDELAY, LOG_USER);
}

SystemLog::~SystemLog() {
    closelog();
}

void SystemLog::write(const std::string& line) {
    syslog(LOG_NOTICE, "%s", line.c_str());
    // One write a line, so that lines of several threads do not mix. Standard error may be closed
    // or full; there is nobody left to tell.
    const std::string complete = line + '\n';
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, complete.data(), complete.size());
}

} // namespace morvel
