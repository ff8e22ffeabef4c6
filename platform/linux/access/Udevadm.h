// Tells udev that its rules have changed. One thread at a time.
//
// By the program "udevadm" and not by writing to the devices' own files: only it can have the rules
// read again at once, which udev does by itself no sooner than seconds later, and it knows a
// keyboard by what udev found out about it. It is run by an absolute path and with fixed arguments,
// without a shell, with an environment of ours and no input.
#pragma once

#include "platform/linux/access/RuleFile.h"

#include <filesystem>
#include <string>
#include <vector>

namespace morvel {

class Udevadm {
public:
    explicit Udevadm(std::filesystem::path program);

    // Has the rules read again.
    AccessProblem reload() const;
    // Has the rules applied to every keyboard that is there.
    AccessProblem applyToKeyboards() const;
    // Waits until that is done, ten seconds at most.
    AccessProblem settle() const;

private:
    AccessProblem run(const std::vector<std::string>& arguments) const;

    const std::filesystem::path program_;
};

} // namespace morvel
