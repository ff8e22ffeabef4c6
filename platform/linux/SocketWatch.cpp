#include "platform/linux/SocketWatch.h"

#include <sys/inotify.h>

#include <array>
#include <cstring>
#include <system_error>
#include <utility>

namespace morvel {

namespace {

constexpr std::uint32_t changes = IN_CREATE | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF;

} // namespace

SocketWatch::SocketWatch(std::filesystem::path socket)
    : socket_(std::move(socket)) {
    if (!socket_.is_absolute())
        return;
    events_ = Descriptor(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    arm();
}

// Watches the folder that is there for the next step on the way to the socket.
void SocketWatch::arm() {
    if (watch_ >= 0)
        inotify_rm_watch(events_.get(), watch_);
    watch_ = -1;
    if (!events_)
        return;
    for (awaited_ = socket_; watch_ < 0 && awaited_.has_relative_path();) {
        watch_ =
            inotify_add_watch(events_.get(), awaited_.parent_path().c_str(), changes | IN_ONLYDIR);
        if (watch_ < 0)
            awaited_ = awaited_.parent_path();
    }
}

bool SocketWatch::missing() const {
    std::error_code unknown;
    return watch_ >= 0 && !std::filesystem::exists(socket_, unknown);
}

bool SocketWatch::appeared() {
    bool told = false;
    bool moved = false;
    alignas(inotify_event) std::array<char, 4096> events{};
    for (ssize_t size = 0; (size = read(events_.get(), events.data(), events.size())) > 0;) {
        for (ssize_t at = 0; at < size;) {
            inotify_event event{};
            std::memcpy(&event, events.data() + at, sizeof event);
            const char* const name = events.data() + at + sizeof event;
            const bool awaited = event.len > 0 && awaited_.filename() == name;
            told = told || (awaited && awaited_ == socket_);
            moved = moved || (awaited && awaited_ != socket_) ||
                    (event.mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_Q_OVERFLOW)) != 0;
            at += static_cast<ssize_t>(sizeof event + event.len);
        }
    }
    if (!moved)
        return told;
    arm(); // before the look, lest it come in between
    std::error_code unknown;
    return told || std::filesystem::exists(socket_, unknown);
}

std::unique_ptr<ServerWatch> watchSocket(const std::filesystem::path& socket) {
    return std::make_unique<SocketWatch>(socket);
}

} // namespace morvel
