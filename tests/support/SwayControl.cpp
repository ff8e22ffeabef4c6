#include "tests/support/SwayControl.h"

#include <nlohmann/json.hpp>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <stdexcept>
#include <string_view>

namespace morvel::test {

namespace {

using Json = nlohmann::json;

constexpr std::string_view magic = "i3-ipc";

enum Request : std::uint32_t { runCommand = 0, subscribe = 2, getTree = 4 };

int connectTo(const std::string& path) {
    const int file = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (::connect(file, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ::close(file);
        throw std::runtime_error("no compositor at " + path);
    }
    return file;
}

void readAll(int file, char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t count = ::read(file, data, size);
        if (count <= 0)
            throw std::runtime_error("the compositor has gone");
        data += count;
        size -= static_cast<std::size_t>(count);
    }
}

Json receive(int file) {
    std::array<char, magic.size()> start{};
    readAll(file, start.data(), start.size());
    std::array<std::uint32_t, 2> header{}; // size and type
    readAll(file, reinterpret_cast<char*>(header.data()), sizeof header);
    std::string payload(header[0], '\0');
    readAll(file, payload.data(), payload.size());
    return Json::parse(payload);
}

void send(int file, std::uint32_t type, const std::string& payload) {
    const std::array<std::uint32_t, 2> header = {static_cast<std::uint32_t>(payload.size()), type};
    std::string message(magic);
    message.append(reinterpret_cast<const char*>(header.data()), sizeof header);
    message += payload;
    if (::send(file, message.data(), message.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(message.size()))
        throw std::runtime_error("the compositor has gone");
}

QRect rectangle(const Json& json) {
    return {json.at("x").get<int>(), json.at("y").get<int>(), json.at("width").get<int>(),
            json.at("height").get<int>()};
}

void collect(const Json& node, std::vector<SwayWindow>& windows) {
    if (node.contains("app_id") && node.at("app_id").is_string()) {
        const QRect inside = rectangle(node.at("window_rect"));
        windows.push_back(
            {node.at("name").is_string() ? node.at("name").get<std::string>() : "",
             node.at("app_id").get<std::string>(), node.at("pid").get<pid_t>(),
             QRect(rectangle(node.at("rect")).topLeft() + inside.topLeft(), inside.size()),
             node.at("type") == "floating_con", node.at("focused").get<bool>()});
    }
    for (const char* children : {"nodes", "floating_nodes"})
        for (const Json& child : node.at(children))
            collect(child, windows);
}

} // namespace

SwayControl::SwayControl(const std::string& socket)
    : requests_(connectTo(socket))
    , events_(connectTo(socket)) {
    send(events_, subscribe, R"(["window", "workspace"])");
    receive(events_);
}

SwayControl::~SwayControl() {
    ::close(requests_);
    ::close(events_);
}

Json SwayControl::ask(std::uint32_t type, const std::string& payload) {
    send(requests_, type, payload);
    return receive(requests_);
}

bool SwayControl::run(const std::string& command) {
    for (const Json& result : ask(runCommand, command))
        if (!result.at("success").get<bool>())
            return false;
    return true;
}

std::vector<SwayWindow> SwayControl::windows() {
    std::vector<SwayWindow> found;
    collect(ask(getTree), found);
    return found;
}

std::optional<SwayWindow> SwayControl::find(const Wanted& wanted) {
    for (SwayWindow& window : windows())
        if (wanted(window))
            return std::move(window);
    return std::nullopt;
}

std::optional<SwayWindow> SwayControl::await(const Wanted& wanted,
                                             std::chrono::milliseconds limit) {
    std::optional<SwayWindow> found;
    awaitThat([&] { return (found = find(wanted)).has_value(); }, limit);
    return found;
}

bool SwayControl::awaitNone(const Wanted& wanted, std::chrono::milliseconds limit) {
    return awaitThat([&] { return !find(wanted); }, limit);
}

bool SwayControl::awaitThat(const std::function<bool()>& holds, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!holds()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd readable{events_, POLLIN, 0};
        if (left.count() <= 0 || ::poll(&readable, 1, static_cast<int>(left.count())) != 1)
            return false;
        receive(events_);
    }
    return true;
}

SwayControl::Wanted windowTitled(const std::string& title) {
    return [title](const SwayWindow& window) { return window.title == title; };
}

} // namespace morvel::test
