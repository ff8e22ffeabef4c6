#include "platform/HomeFolder.h"

#include <pwd.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace morvel {

namespace fs = std::filesystem;

namespace {

std::optional<fs::path> absolute(const std::optional<std::string>& text) {
    if (!text || !text->starts_with('/'))
        return std::nullopt;
    return fs::path(*text);
}

} // namespace

std::optional<fs::path> accountHome() {
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 ||
        found == nullptr || found->pw_dir == nullptr)
        return std::nullopt;
    return absolute(std::string(found->pw_dir));
}

fs::path homeFolder(const Environment& environment,
                    const std::function<std::optional<fs::path>()>& account) {
    if (auto home = absolute(environment("HOME")))
        return *home;
    return account().value_or(fs::path());
}

} // namespace morvel
