#include "tests/desktop/MorvelProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

namespace morvel::test {

MorvelProcess::MorvelProcess(const std::string& home, std::vector<std::string> environment) {
    // Both ends are open here, so that neither side ever waits for the other to open it.
    const std::string pipe = home + "/log";
    std::filesystem::remove(pipe);
    mkfifo(pipe.c_str(), 0600);
    log_ = open(pipe.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    for (const char* variable : {"HOME=", "XDG_RUNTIME_DIR=", "XDG_CONFIG_HOME=", "XDG_DATA_HOME="})
        environment.push_back(variable + home);
    environment.emplace_back("WAYLAND_DISPLAY=");
    environment.emplace_back("XDG_SESSION_TYPE=x11");
    process_ = std::make_unique<ChildProcess>(
        ChildProcess::Setup{{MORVEL_PROGRAM}, std::move(environment), pipe, {}});
}

MorvelProcess::~MorvelProcess() {
    process_.reset();
    close(log_);
}

bool MorvelProcess::readMore(std::chrono::milliseconds limit) {
    pollfd readable{log_, POLLIN, 0};
    if (poll(&readable, 1, static_cast<int>(std::max<std::int64_t>(limit.count(), 0))) != 1)
        return false;
    char bytes[4096];
    const ssize_t count = read(log_, bytes, sizeof bytes);
    if (count <= 0)
        return false;
    unfinished_.append(bytes, static_cast<std::size_t>(count));
    for (auto end = unfinished_.find('\n'); end != std::string::npos;
         end = unfinished_.find('\n')) {
        lines_.push_back(unfinished_.substr(0, end));
        unfinished_.erase(0, end + 1);
    }
    return true;
}

bool MorvelProcess::awaitLine(const std::string& text, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        if (count(text) > 0)
            return true;
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || !readMore(left))
            return count(text) > 0;
    }
}

void MorvelProcess::drain() {
    while (readMore(std::chrono::milliseconds(0))) {
    }
}

std::size_t MorvelProcess::count(const std::string& text) const {
    return static_cast<std::size_t>(
        std::count_if(lines_.begin(), lines_.end(), [&](const std::string& line) {
            return line.find(text) != std::string::npos;
        }));
}

} // namespace morvel::test
