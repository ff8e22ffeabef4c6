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

// Times that a thread of the process has waited for something since it began; of threads that have
// ended none are counted.
inline std::uint64_t wakeUpsOf(pid_t process) {
    std::uint64_t sum = 0;
    std::error_code gone;
    for (const auto& thread :
         std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task", gone)) {
        std::ifstream status(thread.path() / "status");
        for (std::string line; std::getline(status, line);) {
            std::istringstream words(line);
            std::string name;
            std::uint64_t count = 0;
            if (words >> name >> count && name == "voluntary_ctxt_switches:")
                sum += count;
        }
    }
    return sum;
}

} // namespace morvel::test
