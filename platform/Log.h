// Where log lines go. Adapters: platform/SystemLog.h (system log and standard error),
// platform/simulated (kept in memory for a test).
#pragma once

#include <string>
#include <string_view>

namespace morvel {

class Log {
public:
    virtual ~Log() = default;

    // Logs one line: logLinePrefix followed by `message`. Any thread but the audio thread.
    // Line breaks and other control characters in `message` (it may quote a file of the user's)
    // are replaced, so that one call is always one line.
    void line(std::string_view message);

protected:
    // `line` is complete, prefix included, valid UTF-8 of printable characters, without a final
    // newline. May be called from several threads at once.
    virtual void write(const std::string& line) = 0;
};

inline constexpr std::string_view logLinePrefix = "[Morvel] ";

} // namespace morvel
