#include "platform/linux/access/PrivilegedProcess.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>

namespace morvel {

namespace {

std::array<char, 35> searchPath = {"PATH=/usr/sbin:/usr/bin:/sbin:/bin"};
std::array<char, 9> locale = {"LC_ALL=C"};
std::array<char*, 3> environment = {searchPath.data(), locale.data(), nullptr};

} // namespace

void becomeIndependent() {
    ::environ = environment.data();
    ::umask(S_IRWXG | S_IRWXO);
    // Without the standard ones a file that is opened could take the place of the error's stream.
    for (int stream = ::open("/dev/null", O_RDWR); stream <= STDERR_FILENO;
         stream = ::open("/dev/null", O_RDWR))
        if (stream < 0)
            std::abort();
    ::closefrom(STDERR_FILENO + 1);
    if (::chdir("/") != 0)
        std::abort();
    for (int number = 1; number < NSIG; ++number)
        std::signal(number, SIG_DFL); // some refuse, and keep what they have
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);
}

} // namespace morvel
