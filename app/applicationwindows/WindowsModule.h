// The module that holds the application's windows.
//
// Code that both have, such as the settings, is in the module as well, but the program's own is
// what counts in both: the program must export its symbols.
#pragma once

#include "app/applicationwindows/ApplicationWindows.h"
#include "platform/Result.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace morvel {

// Loads the first of `files` that exists and makes the windows. It must be of the program's own
// `version`: a program that has been replaced while it runs finds another one's. The error is a
// sentence's end for the log. What was loaded stays until the process ends. Main thread; blocks on
// the disk.
Result<std::unique_ptr<ApplicationWindows>, std::string>
loadWindowsModule(const std::vector<std::filesystem::path>& files, const std::string& version,
                  const ApplicationWindows::Services& services);

} // namespace morvel

// What a module holds.
extern "C" {
// The version of the program that it belongs to.
const char* morvelWindowsVersion();
// Never null; the caller owns the windows. Nothing is shown yet.
morvel::ApplicationWindows* morvelMakeWindows(const morvel::ApplicationWindows::Services& services);
}
