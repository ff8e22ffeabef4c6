// The files of the keyboards, and who may use them. Any thread.
#pragma once

#include "platform/linux/access/RuleFile.h"

#include <sys/types.h>

#include <string>
#include <vector>

namespace morvel {

struct DeviceFile {
    std::string path;
    dev_t number = 0;   // what must be found there
    bool given = false; // whether udev, by any rule, gives it to the person at the seat
};

// All that the rule of ours applies to, as udev knows them now.
std::vector<DeviceFile> keyboardDevices();

// Takes from every single user what goes beyond the file's own mode; groups keep theirs. A device
// that is gone is no failure. Who has opened the file already goes on reading until it is closed.
AccessProblem withdrawUsers(const DeviceFile& device);

// The same of any file, by a descriptor that need not be able to read it.
AccessProblem withdrawUsers(int descriptor, const std::string& name);

} // namespace morvel
