// Ignores SIGPIPE for the whole process, for a log must not end it.
//
// The system log (syslog(3), which the journal reads) and standard error.
#pragma once

#include "platform/Log.h"

namespace morvel {

class SystemLog : public Log {
public:
    SystemLog();
    ~SystemLog() override;
    SystemLog(const SystemLog&) = delete;
    SystemLog& operator=(const SystemLog&) = delete;

protected:
    void write(const std::string& line) override;
};

} // namespace morvel
