#include "tests/support/LinePipe.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <utility>

namespace morvel::test {

namespace {

bool readable(int file, std::chrono::milliseconds limit) {
    pollfd request{file, POLLIN, 0};
    return poll(&request, 1, static_cast<int>(std::max<std::int64_t>(limit.count(), 0))) == 1;
}

} // namespace

LinePipe::LinePipe(std::string path)
    : path_(std::move(path)) {
    std::filesystem::remove(path_);
    mkfifo(path_.c_str(), 0600);
    file_ = open(path_.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
}

LinePipe::~LinePipe() {
    close(file_);
}

bool LinePipe::await(const std::string& text, std::chrono::milliseconds limit) {
    return find(text, limit).has_value();
}

bool LinePipe::take(const std::string& text, std::chrono::milliseconds limit) {
    const auto found = find(text, limit);
    if (found)
        lines_.erase(lines_.begin() + *found);
    return found.has_value();
}

void LinePipe::drain() {
    while (readable(file_, std::chrono::milliseconds(0)))
        readOnce();
}

std::size_t LinePipe::count(const std::string& text) const {
    return static_cast<std::size_t>(
        std::count_if(lines_.begin(), lines_.end(), [&](const std::string& line) {
            return line.find(text) != std::string::npos;
        }));
}

std::optional<std::ptrdiff_t> LinePipe::find(const std::string& text,
                                             std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        drain();
        const auto found = std::find_if(lines_.begin(), lines_.end(), [&](const std::string& line) {
            return line.find(text) != std::string::npos;
        });
        if (found != lines_.end())
            return found - lines_.begin();
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || !readable(file_, left))
            return std::nullopt;
    }
}

void LinePipe::readOnce() {
    char bytes[4096];
    const ssize_t count = read(file_, bytes, sizeof bytes);
    unfinished_.append(bytes, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    for (auto end = unfinished_.find('\n'); end != std::string::npos;
         end = unfinished_.find('\n')) {
        lines_.push_back(unfinished_.substr(0, end));
        unfinished_.erase(0, end + 1);
    }
}

} // namespace morvel::test
