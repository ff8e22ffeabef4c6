#include "selftest/OutputFile.h"

#include <system_error>

namespace morvel {

std::filesystem::path selfTestOutput(const Environment& environment, const std::string& name) {
    if (const auto chosen = environment("MORVEL_SELFTEST_OUT"); chosen && !chosen->empty())
        return *chosen;
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
    return (error ? std::filesystem::path("/tmp") : folder) / name;
}

} // namespace morvel
