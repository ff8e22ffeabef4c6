#include "platform/linux/access/Udevadm.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace morvel {

namespace {

// What a child has for its standard streams: nothing.
class NoStreams {
public:
    NoStreams() {
        posix_spawn_file_actions_init(&actions_);
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            posix_spawn_file_actions_addopen(&actions_, stream, "/dev/null", O_RDWR, 0);
    }
    ~NoStreams() { posix_spawn_file_actions_destroy(&actions_); }
    NoStreams(const NoStreams&) = delete;
    NoStreams& operator=(const NoStreams&) = delete;

    const posix_spawn_file_actions_t* get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
};

} // namespace

Udevadm::Udevadm(std::filesystem::path program)
    : program_(std::move(program)) {}

AccessProblem Udevadm::reload() const {
    return run({"control", "--reload", "--timeout=10"});
}

AccessProblem Udevadm::applyToKeyboards() const {
    return run({"trigger", "--action=change", "--subsystem-match=input", "--sysname-match=event*",
                "--property-match=ID_INPUT_KEYBOARD=1"});
}

AccessProblem Udevadm::settle() const {
    return run({"settle", "--timeout=10"});
}

AccessProblem Udevadm::run(const std::vector<std::string>& arguments) const {
    std::string line = program_.string();
    std::vector<std::string> owned = {line};
    for (const std::string& argument : arguments) {
        owned.push_back(argument);
        line += " " + argument;
    }
    std::vector<char*> argv;
    argv.reserve(owned.size() + 1);
    for (std::string& argument : owned)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    std::string path = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
    std::string locale = "LC_ALL=C";
    const std::array<char*, 3> environment = {path.data(), locale.data(), nullptr};

    const NoStreams streams;
    pid_t child = 0;
    const int error = ::posix_spawn(&child, program_.c_str(), streams.get(), nullptr, argv.data(),
                                    environment.data());
    if (error != 0)
        return program_.string() + ": " + std::generic_category().message(error);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0)
        if (errno != EINTR)
            return line + ": " + std::generic_category().message(errno);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
        return std::nullopt;
    return line + (WIFEXITED(status) ? ": ended with status " + std::to_string(WEXITSTATUS(status))
                                     : ": ended by signal " + std::to_string(WTERMSIG(status)));
}

} // namespace morvel
