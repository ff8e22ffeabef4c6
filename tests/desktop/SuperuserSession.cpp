#include "tests/desktop/SuperuserSession.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <vector>

namespace morvel::test {

namespace {

namespace fs = std::filesystem;

constexpr uid_t nobody = 65534;
constexpr const char* helper = MORVEL_KEYBOARD_ACCESS;

void check(bool good, const char* what) {
    if (!good)
        throw std::runtime_error(what);
}

void writeScript(const fs::path& file, const std::string& text) {
    writeText(file, "#!/bin/sh\n" + text);
    fs::permissions(file, fs::perms::owner_all);
}

} // namespace

SuperuserSession::SuperuserSession() {
    const fs::path folder = folder_.path();
    const std::string asked = folder / "asked";
    const std::string answers = folder / "answers";
    writeScript(programs() / "ask", "echo \"$1 $UMOCKDEV_DIR\" > '" + asked +
                                        "'\nread -r status < '" + answers + "'\nexit $status\n");
    writeScript(programs() / "pkexec", "[ \"$1\" = --disable-internal-agent ] && shift\n"
                                       "[ \"$1\" = '" +
                                           std::string(helper) + "' ] || exit 127\nexec '" +
                                           (programs() / "ask").string() + "' \"$2\"\n");
    check(::mkfifo(asked.c_str(), S_IRUSR | S_IWUSR) == 0 &&
              ::mkfifo(answers.c_str(), S_IRUSR | S_IWUSR) == 0,
          "no pipes to the superuser's session");
    check(::chown(folder.c_str(), nobody, nobody) == 0, "not the superuser");
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        check(::chown(entry.path().c_str(), nobody, nobody) == 0, "not the superuser");
    asked_ = Descriptor(::open(asked.c_str(), O_RDWR | O_CLOEXEC));
    session_.emplace(ChildProcess::Setup{
        {"unshare", "--mount", MORVEL_SUPERUSER_SESSION, helper, folder.string()}, {}, {}, {}});

    check(::setgroups(0, nullptr) == 0 && ::setgid(nobody) == 0 && ::setuid(nobody) == 0,
          "the superuser cannot become nobody");
    ::setenv("HOME", folder.c_str(), 1); // NOLINT(concurrency-mt-unsafe)
    ::prctl(PR_SET_DUMPABLE, 1);         // the leak checker looks into its own process
    told_.emplace(folder / "told");
}

SuperuserSession::~SuperuserSession() {
    asked_.reset();
    session_->wait(std::chrono::seconds(5));
}

int SuperuserSession::pkexec(const std::string& argument) const {
    return run({programs() / "pkexec", helper, argument});
}

int SuperuserSession::apply() const {
    return run({programs() / "ask", "--apply"});
}

int SuperuserSession::run(const std::vector<std::string>& command) {
    return ChildProcess({command, {}, {}, {}}).wait(std::chrono::seconds(20));
}

} // namespace morvel::test
