#include "platform/linux/ProcfsProcessTable.h"

#include "platform/Files.h"
#include "platform/Utf8.h"

#include <unistd.h>

#include <array>
#include <charconv>
#include <cstddef>
#include <string_view>
#include <system_error>
#include <utility>

namespace morvel {

namespace {

constexpr std::size_t longestPath = 4096;
constexpr std::size_t longestStat = 4096;

} // namespace

ProcfsProcessTable::ProcfsProcessTable(std::filesystem::path procfs)
    : procfs_(std::move(procfs)) {}

std::int32_t ProcfsProcessTable::ownPid() const {
    return ::getpid();
}

std::filesystem::path ProcfsProcessTable::fileOf(std::int32_t pid, const char* name) const {
    return procfs_ / std::to_string(pid) / name;
}

std::optional<std::string> ProcfsProcessTable::executablePath(std::int32_t pid) const {
    std::array<char, longestPath> buffer{};
    const ssize_t length = ::readlink(fileOf(pid, "exe").c_str(), buffer.data(), buffer.size());
    if (length < 1)
        return std::nullopt;
    return asValidUtf8({buffer.data(), static_cast<std::size_t>(length)});
}

// "pid (name) state parent …". A process chooses its own name, which may hold spaces, parentheses
// and line breaks: the last parenthesis of the file ends it, for only numbers follow.
std::optional<std::int32_t> ProcfsProcessTable::parentPid(std::int32_t pid) const {
    const FileContent stat = readFile(fileOf(pid, "stat"), longestStat);
    const std::string_view text = stat.text;
    const std::size_t nameEnd = text.rfind(')');
    constexpr std::size_t fromNameEndToParent = 4; // ") S "
    if (nameEnd == std::string_view::npos || text.size() <= nameEnd + fromNameEndToParent)
        return std::nullopt;
    const std::string_view rest = text.substr(nameEnd + fromNameEndToParent);
    std::int32_t parent = 0;
    const auto parsed = std::from_chars(rest.data(), rest.data() + rest.size(), parent);
    if (parsed.ec != std::errc{})
        return std::nullopt;
    return parent;
}

} // namespace morvel
