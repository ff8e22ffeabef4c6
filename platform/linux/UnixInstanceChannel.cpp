#include "platform/linux/UnixInstanceChannel.h"

#include "platform/linux/SessionType.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <QCryptographicHash>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string_view>
#include <system_error>
#include <thread>

namespace morvel {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr std::uint8_t takenAnswer = 'k';
constexpr std::uint8_t endingAnswer = 'e';
constexpr std::size_t mostPeers = 8;
constexpr milliseconds pauseBetweenTries{5};

std::string lastError() {
    return std::error_code(errno, std::generic_category()).message();
}

// Through the open folder, so that no path is too long for an address.
sockaddr_un addressIn(const Descriptor& folder, const std::string& file) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = "/proc/self/fd/" + std::to_string(folder.get()) + "/" + file;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

std::optional<pid_t> processOfOurs(int socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 || peer.uid != ::geteuid())
        return std::nullopt;
    return peer.pid;
}

// None for a process that this one cannot see.
Descriptor handleOf(pid_t process) {
    return Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
}

milliseconds leftUntil(Clock::time_point deadline) {
    return std::max(std::chrono::ceil<milliseconds>(deadline - Clock::now()), milliseconds(0));
}

bool endsBy(Clock::time_point deadline, const Descriptor& process) {
    pollfd ended{process.get(), POLLIN, 0};
    int count = 0;
    do
        count = ::poll(&ended, 1, static_cast<int>(leftUntil(deadline).count()));
    while (count < 0 && errno == EINTR);
    return count == 1;
}

// What connecting, sending and receiving on `socket` may take from now on.
void limitTime(const Descriptor& socket, Clock::time_point deadline) {
    // None at all would stand for no limit.
    const auto left =
        std::max(std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now()),
                 std::chrono::microseconds(1000));
    timeval limit{};
    limit.tv_sec = static_cast<time_t>(left.count() / 1000000);
    limit.tv_usec = static_cast<suseconds_t>(left.count() % 1000000);
    ::setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
}

bool timedOut() {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINPROGRESS;
}

ssize_t receiveByte(const Descriptor& socket, std::uint8_t& byte) {
    ssize_t count = 0;
    do
        count = ::recv(socket.get(), &byte, 1, 0);
    while (count < 0 && errno == EINTR);
    return count;
}

// ":0", ":0.1" and "unix:0" are one and the same display.
std::string displayOf(const std::string& name) {
    const std::size_t colon = name.rfind(':');
    if (colon == std::string::npos)
        return name;
    std::string host = name.substr(0, colon);
    if (host == "unix")
        host.clear();
    const std::string number = name.substr(colon + 1);
    return host + ":" + number.substr(0, number.find('.'));
}

} // namespace

UnixInstanceChannel::UnixInstanceChannel(Setup setup)
    : setup_(std::move(setup)) {}

// The socket goes before the lock: whoever gets the lock next makes a socket of the same name.
UnixInstanceChannel::~UnixInstanceChannel() {
    if (listener_)
        ::unlinkat(folder_.get(), (setup_.name + ".socket").c_str(), 0);
}

InstanceChannel::Outcome UnixInstanceChannel::become(std::uint8_t message) {
    return reach(message, true);
}

InstanceChannel::Outcome UnixInstanceChannel::send(std::uint8_t message) {
    return reach(message, false);
}

// Between taking the lock and listening, and between the last message and letting the lock go,
// there is an instance that cannot be reached: that passes, so try again.
InstanceChannel::Outcome UnixInstanceChannel::reach(std::uint8_t message, bool stay) {
    const Deadline deadline = Clock::now() + setup_.patience;
    if (!folder_ && !openFolder())
        return Outcome::unavailable;
    for (;;) {
        Descriptor lock = takeLock();
        if (!failure_.empty())
            return Outcome::unavailable;
        if (lock && !stay)
            return Outcome::alone;
        if (lock) {
            lock_ = std::move(lock);
            return listen() ? Outcome::alone : Outcome::unavailable;
        }
        switch (exchange(message, deadline)) {
        case Exchange::delivered:
            return Outcome::delivered;
        case Exchange::unanswered:
            return Outcome::unanswered;
        case Exchange::foreign:
            failure_ = "the instance is another user's";
            return Outcome::unavailable;
        case Exchange::gone:
            break;
        }
        if (Clock::now() >= deadline)
            return Outcome::unanswered;
        std::this_thread::sleep_for(pauseBetweenTries);
    }
}

bool UnixInstanceChannel::openFolder() {
    for (const std::filesystem::path& path : setup_.folders) {
        if (&path == &setup_.folders.back())
            ::mkdir(path.c_str(), S_IRWXU);
        Descriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        struct stat status {};
        if (folder && ::fstat(folder.get(), &status) == 0 && status.st_uid == ::geteuid() &&
            (status.st_mode & (S_IWGRP | S_IWOTH)) == 0) {
            folder_ = std::move(folder);
            return true;
        }
    }
    failure_ = "there is no folder that only this user can write to";
    return false;
}

// The lock's file stays for good: were it removed, two processes could hold locks of one name.
Descriptor UnixInstanceChannel::takeLock() {
    Descriptor file(::openat(folder_.get(), (setup_.name + ".lock").c_str(),
                             O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file) {
        unavailable("the lock file cannot be opened");
        return {};
    }
    if (::flock(file.get(), LOCK_EX | LOCK_NB) == 0)
        return file;
    if (errno != EWOULDBLOCK && errno != EINTR)
        unavailable("the lock file cannot be locked");
    return {};
}

bool UnixInstanceChannel::listen() {
    const std::string file = setup_.name + ".socket";
    ::unlinkat(folder_.get(), file.c_str(), 0);
    Descriptor listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    readiness_ = Descriptor(::epoll_create1(EPOLL_CLOEXEC));
    const sockaddr_un address = addressIn(folder_, file);
    epoll_event readable{};
    readable.events = EPOLLIN;
    readable.data.fd = listener.get();
    if (!listener || !readiness_ ||
        ::bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener.get(), SOMAXCONN) != 0 ||
        ::epoll_ctl(readiness_.get(), EPOLL_CTL_ADD, listener.get(), &readable) != 0) {
        unavailable("the socket cannot be made");
        lock_.reset();
        return false;
    }
    listener_ = std::move(listener);
    return true;
}

void UnixInstanceChannel::receive(Receiver receiver) {
    receiver_ = std::move(receiver);
    if (!listener_ || notifier_)
        return;
    notifier_ = std::make_unique<QSocketNotifier>(readiness_.get(), QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(),
                     [this] { serve(); });
}

UnixInstanceChannel::Exchange UnixInstanceChannel::exchange(std::uint8_t message,
                                                            Deadline deadline) const {
    const Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = addressIn(folder_, setup_.name + ".socket");
    limitTime(socket, deadline);
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return timedOut() ? Exchange::unanswered : Exchange::gone;
    const auto instance = processOfOurs(socket.get());
    if (!instance)
        return Exchange::foreign;
    const Descriptor process = handleOf(*instance); // before it can end
    if (::send(socket.get(), &message, 1, MSG_NOSIGNAL) != 1)
        return Exchange::gone;
    std::uint8_t answer = 0;
    limitTime(socket, deadline);
    ssize_t count = receiveByte(socket, answer);
    if (count == 1 && answer == takenAnswer)
        return Exchange::delivered;
    if (count == 1 && answer == endingAnswer) {
        limitTime(socket, deadline);
        count = receiveByte(socket, answer);
        if ((count < 0 && timedOut()) || (process && !endsBy(deadline, process)))
            return Exchange::unanswered;
        return Exchange::delivered;
    }
    return count < 0 && timedOut() ? Exchange::unanswered : Exchange::gone;
}

void UnixInstanceChannel::unavailable(const std::string& what) {
    failure_ = what + " (" + lastError() + ")";
}

void UnixInstanceChannel::serve() {
    std::array<epoll_event, mostPeers + 1> ready{};
    const int count =
        ::epoll_wait(readiness_.get(), ready.data(), static_cast<int>(ready.size()), 0);
    // Peers first: admitting one may dismiss another, whose number it may then get.
    for (int i = 0; i < count; ++i)
        if (const int peer = ready[static_cast<std::size_t>(i)].data.fd; peer != listener_.get())
            hear(peer);
    for (int i = 0; i < count; ++i)
        if (listener_ && ready[static_cast<std::size_t>(i)].data.fd == listener_.get())
            admit();
}

void UnixInstanceChannel::admit() {
    Descriptor peer(::accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!peer || !processOfOurs(peer.get()))
        return;
    // Who connects and says nothing makes room for those who do.
    if (peers_.size() == mostPeers)
        peers_.erase(peers_.begin());
    epoll_event readable{};
    readable.events = EPOLLIN;
    readable.data.fd = peer.get();
    if (::epoll_ctl(readiness_.get(), EPOLL_CTL_ADD, peer.get(), &readable) == 0)
        peers_.push_back(std::move(peer));
}

void UnixInstanceChannel::hear(int peer) {
    const auto found = std::find_if(peers_.begin(), peers_.end(),
                                    [&](const Descriptor& p) { return p.get() == peer; });
    if (found == peers_.end())
        return;
    // A message is one byte; who sends more has something else in mind.
    std::array<std::uint8_t, 2> bytes{};
    const ssize_t count = ::recv(peer, bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    Descriptor sender = std::move(*found);
    peers_.erase(found);
    const Reception reception = count == 1 ? receiver_(bytes[0]) : Reception::refused;
    if (reception == Reception::refused)
        return;
    const std::uint8_t answer = reception == Reception::ending ? endingAnswer : takenAnswer;
    ::send(sender.get(), &answer, 1, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (reception != Reception::ending)
        return;
    ::epoll_ctl(readiness_.get(), EPOLL_CTL_DEL, sender.get(), nullptr);
    mourners_.push_back(std::move(sender));
    // Further senders find nobody, and wait for the lock.
    ::unlinkat(folder_.get(), (setup_.name + ".socket").c_str(), 0);
    listener_.reset();
    peers_.clear();
}

UnixInstanceChannel::Setup sessionInstanceChannel(const Environment& environment) {
    UnixInstanceChannel::Setup setup;
    const std::string runtime = environment("XDG_RUNTIME_DIR").value_or("");
    if (runtime.starts_with('/'))
        setup.folders.emplace_back(runtime);
    setup.folders.emplace_back("/tmp/morvel-" + std::to_string(::geteuid()));
    const std::string display = isX11Session(environment)
                                    ? "x11 " + displayOf(environment("DISPLAY").value_or(""))
                                    : "wayland " + environment("WAYLAND_DISPLAY").value_or("");
    // A display's name may hold what a file's may not.
    const QByteArray digest =
        QCryptographicHash::hash(QByteArray::fromStdString(display), QCryptographicHash::Sha256)
            .toHex()
            .left(16);
    setup.name = "morvel-" + digest.toStdString();
    return setup;
}

} // namespace morvel
