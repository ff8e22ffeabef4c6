#include "platform/linux/access/PrivilegedProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>

namespace morvel {
namespace {

// Bits of what is not as it should be.
int dependence(int inherited) {
    int found = 0;
    std::string variables;
    for (char** variable = ::environ; *variable != nullptr; ++variable)
        variables += *variable + std::string(";");
    found |= variables == "PATH=/usr/sbin:/usr/bin:/sbin:/bin;LC_ALL=C;" ? 0 : 1;
    found |= ::umask(0) == 0077 ? 0 : 2;
    found |= ::fcntl(inherited, F_GETFD) == -1 ? 0 : 4;
    char folder[8] = {};
    found |= ::getcwd(folder, sizeof folder) != nullptr && folder == std::string("/") ? 0 : 8;
    sigset_t blocked;
    sigprocmask(SIG_SETMASK, nullptr, &blocked);
    found |= sigismember(&blocked, SIGTERM) == 0 ? 0 : 16;
    found |= std::signal(SIGCHLD, SIG_DFL) == SIG_DFL ? 0 : 32;
    found |= std::signal(SIGXFSZ, SIG_DFL) == SIG_IGN ? 0 : 64;
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        found |= ::fcntl(stream, F_GETFD) != -1 ? 0 : 128;
    return found;
}

[[noreturn]] void startHostile(bool withStreams) {
    const int inherited = ::fcntl(::open("/dev/null", O_RDWR), F_DUPFD, 100);
    ::setenv("LD_PRELOAD", "evil", 1);
    ::umask(0);
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
    std::signal(SIGCHLD, SIG_IGN);
    if (!withStreams)
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            ::close(stream);
    becomeIndependent();
    ::_exit(dependence(inherited));
}

TEST(PrivilegedProcessTest, KeepsNothingOfWhoStartedIt) {
    EXPECT_EXIT(startHostile(true), testing::ExitedWithCode(0), "");
}

TEST(PrivilegedProcessTest, HasStandardStreamsWhereItWasGivenNone) {
    EXPECT_EXIT(startHostile(false), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace morvel
