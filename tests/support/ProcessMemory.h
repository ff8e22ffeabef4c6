// How much memory a process takes.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>

namespace morvel::test {

struct ProcessMemory {
    std::uint64_t resident = 0;     // bytes in memory, what it shares with others included
    std::uint64_t proportional = 0; // likewise, but of what is shared only its part
    std::uint64_t own = 0;          // bytes that would be free without it
};

// All zero for a process that is gone.
inline ProcessMemory memoryOf(pid_t process) {
    ProcessMemory memory;
    std::ifstream figures("/proc/" + std::to_string(process) + "/smaps_rollup");
    for (std::string line; std::getline(figures, line);) {
        std::istringstream words(line);
        std::string name;
        std::uint64_t kilobytes = 0;
        words >> name >> kilobytes;
        const std::uint64_t bytes = kilobytes * 1024;
        if (name == "Rss:")
            memory.resident = bytes;
        else if (name == "Pss:")
            memory.proportional = bytes;
        else if (name == "Private_Clean:" || name == "Private_Dirty:")
            memory.own += bytes;
    }
    return memory;
}

} // namespace morvel::test
