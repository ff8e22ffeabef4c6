// What programs write, line by line: a named pipe for their standard error.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace morvel::test {

class LinePipe {
public:
    // Creates the pipe at `path`, in place of what is there. Neither side ever waits for the other
    // to open it.
    explicit LinePipe(std::string path);
    ~LinePipe();
    LinePipe(const LinePipe&) = delete;
    LinePipe& operator=(const LinePipe&) = delete;

    const std::string& path() const { return path_; }

    // Reads until a line holds `text`; answers whether one did within `limit`. Lines that went by
    // before are looked at too.
    bool await(const std::string& text, std::chrono::milliseconds limit = std::chrono::seconds(20));
    // Likewise, and forgets the line, so that the next call waits for another.
    bool take(const std::string& text, std::chrono::milliseconds limit = std::chrono::seconds(20));

    // Reads what there is.
    void drain();
    // All lines read so far and not taken, and how many of them hold `text`.
    const std::vector<std::string>& lines() const { return lines_; }
    std::size_t count(const std::string& text) const;

private:
    // The place of the first line that holds `text`.
    std::optional<std::ptrdiff_t> find(const std::string& text, std::chrono::milliseconds limit);
    void readOnce();

    std::string path_;
    int file_ = -1;
    std::string unfinished_;
    std::vector<std::string> lines_;
};

} // namespace morvel::test
