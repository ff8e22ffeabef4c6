// How often the threads of a process were woken.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>

namespace morvel::test {

// Times that one thread, a folder of procfs, has waited for something since it began.
inline std::uint64_t wakeUpsOfThread(const std::filesystem::path& thread) {
    std::ifstream status(thread / "status");
    for (std::string line; std::getline(status, line);) {
        std::istringstream words(line);
        std::string name;
        std::uint64_t count = 0;
        if (words >> name >> count && name == "voluntary_ctxt_switches:")
            return count;
    }
    return 0;
}

// The same of all threads of a process; of threads that have ended none are counted.
inline std::uint64_t wakeUpsOf(pid_t process) {
    std::uint64_t sum = 0;
    std::error_code gone;
    for (const auto& thread :
         std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task", gone))
        sum += wakeUpsOfThread(thread.path());
    return sum;
}

} // namespace morvel::test
