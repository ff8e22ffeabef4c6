// morvel-keyboard-access: gives the person at the seat access to the keyboards (--grant) or takes
// it back (--revoke). Run by the superuser, as pkexec does for who may.
//
// Says nothing when all is well; otherwise one line to standard error. Exit status:
//   0  done
//   1  nothing was changed
//   2  no argument, another one, or more than one
//   3  not the superuser
//   4  the rule was changed, but it takes full effect only with the next start of the system

#include "platform/linux/access/KeyboardAccessRule.h"
#include "platform/linux/access/PrivilegedProcess.h"

#include <unistd.h>

#include <string>
#include <string_view>

namespace {

enum Status { done = 0, refused = 1, wrongUsage = 2, notPrivileged = 3, later = 4 };

int failure(Status status, const std::string& problem) {
    const std::string line = "morvel-keyboard-access: " + problem + "\n";
    // There is nobody left to tell where the line cannot be written.
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, line.data(), line.size());
    return status;
}

} // namespace

int main(int argc, char** argv) {
    morvel::becomeIndependent();
    const std::string_view argument = argc == 2 ? argv[1] : "";
    if (argument != "--grant" && argument != "--revoke")
        return failure(wrongUsage, "exactly one argument, --grant or --revoke");
    if (::geteuid() != 0 || ::getuid() != 0)
        return failure(notPrivileged, "only the superuser may do this");

    const morvel::AccessSystem system{"/", morvel::Udevadm("/usr/bin/udevadm")};
    const morvel::AccessChange change = argument == "--grant"
                                            ? morvel::grantKeyboardAccess(system)
                                            : morvel::revokeKeyboardAccess(system);
    switch (change.kind) {
    case morvel::AccessChange::Kind::done:
        return done;
    case morvel::AccessChange::Kind::refused:
        return failure(refused, change.problem);
    case morvel::AccessChange::Kind::later:
        break;
    }
    return failure(later, change.problem);
}
