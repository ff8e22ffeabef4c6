// What belongs to the superuser in a test that goes on as an ordinary user: the program that gives
// access to keyboards runs for real, in folders of its own, and udev's own rules with the one that
// it writes decide over InputDevices. tests/desktop/superuser-session says how.
#pragma once

#include "platform/linux/Descriptor.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/LinePipe.h"
#include "tests/support/TemporaryFolder.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace morvel::test {

class SuperuserSession {
public:
    // Called by the superuser, who is nobody from then on, for good. Throws std::runtime_error
    // where that cannot be.
    SuperuserSession();
    ~SuperuserSession();
    SuperuserSession(const SuperuserSession&) = delete;
    SuperuserSession& operator=(const SuperuserSession&) = delete;

    // A folder with a program "pkexec" that runs the build's own program for the access, and no
    // other, for whoever asks.
    std::filesystem::path programs() const { return folder_ / "bin"; }
    // The exit status of that "pkexec", as a person runs it in a terminal.
    int pkexec(const std::string& argument) const;

    // Has udev judge all devices that are there by its rules as they are; 0 when that is done.
    int apply() const;
    // Waits for a verdict on a device of that name, and forgets it.
    bool isGiven(const std::string& device) { return told_->take(device + " is given"); }
    bool isNotGiven(const std::string& device) { return told_->take(device + " is not given"); }

private:
    static int run(const std::vector<std::string>& command);

    TemporaryFolder folder_;
    std::optional<LinePipe> told_;
    Descriptor asked_; // held open: the session ends with its last holder
    std::optional<ChildProcess> session_;
};

} // namespace morvel::test
