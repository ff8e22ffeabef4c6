// Where a self-test leaves what it has recorded.
#pragma once

#include "platform/Environment.h"

#include <filesystem>
#include <string>

namespace morvel {

// The path of MORVEL_SELFTEST_OUT where that is set, else `name` in the system's folder for
// temporary files.
std::filesystem::path selfTestOutput(const Environment& environment, const std::string& name);

} // namespace morvel
