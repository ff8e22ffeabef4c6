#include "tests/support/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <set>
#include <stdexcept>

namespace morvel::test {

namespace {

std::vector<char*> pointers(const std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (const std::string& text : texts)
        result.push_back(const_cast<char*>(text.c_str()));
    result.push_back(nullptr);
    return result;
}

std::string nameIn(const std::string& variable) {
    return variable.substr(0, variable.find('='));
}

// The test's environment with the added variables in place of any of the same name.
std::vector<std::string> environmentWith(const std::vector<std::string>& added) {
    std::vector<std::string> result;
    std::set<std::string> names;
    for (const std::string& variable : added)
        if (names.insert(nameIn(variable)).second && variable.find('=') != std::string::npos)
            result.push_back(variable);
    for (char** entry = environ; *entry != nullptr; ++entry)
        if (!names.contains(nameIn(*entry)))
            result.emplace_back(*entry);
    return result;
}

void redirect(int stream, const std::string& path) {
    if (!path.empty())
        dup2(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600), stream);
}

} // namespace

ChildProcess::ChildProcess(const Setup& setup) {
    const std::vector<std::string> environment = environmentWith(setup.environment);
    const auto arguments = pointers(setup.command);
    const auto variables = pointers(environment);
    pid_ = fork();
    if (pid_ < 0)
        throw std::runtime_error("fork failed");
    if (pid_ == 0) {
        // A test that crashes must not leave its servers behind.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        redirect(STDERR_FILENO, setup.standardErrorFile);
        redirect(STDOUT_FILENO, setup.standardOutputFile);
        for (const int descriptor : setup.inheritedDescriptors)
            fcntl(descriptor, F_SETFD, 0);
        execvpe(arguments[0], arguments.data(), variables.data());
        _exit(127);
    }
}

ChildProcess::~ChildProcess() {
    if (wait(std::chrono::milliseconds(0)) != -1 || ended_)
        return;
    signal(SIGTERM);
    if (wait(std::chrono::seconds(3)) == -1 && !ended_) {
        signal(SIGKILL);
        wait(std::chrono::seconds(10));
    }
}

void ChildProcess::signal(int number) const {
    if (!ended_)
        kill(pid_, number);
}

int ChildProcess::wait(std::chrono::milliseconds limit) {
    if (ended_)
        return status_;
    const int handle = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
    pollfd readable{handle, POLLIN, 0};
    const int ready = handle >= 0 ? poll(&readable, 1, static_cast<int>(limit.count())) : 0;
    if (handle >= 0)
        close(handle);
    if (ready <= 0)
        return -1;
    int status = 0;
    waitpid(pid_, &status, 0);
    ended_ = true;
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return status_;
}

bool ChildProcess::running() {
    return wait(std::chrono::milliseconds(0)) == -1 && !ended_;
}

} // namespace morvel::test
