#include "platform/linux/XdgLoginItem.h"

#include "platform/Files.h"
#include "platform/Utf8.h"
#include "platform/linux/DesktopEntry.h"
#include "platform/linux/SearchPath.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <system_error>
#include <utility>

namespace morvel {

namespace fs = std::filesystem;

namespace {

// Honest entries, translations included, are a few kilobytes.
constexpr std::size_t longestEntry = std::size_t{256} * 1024;

bool isSwitchedOff(const DesktopEntry& entry) {
    return entry.isBoolean("Hidden", true) || entry.isBoolean("X-GNOME-Autostart-enabled", false) ||
           entry.isBoolean("X-MATE-Autostart-enabled", false);
}

} // namespace

XdgLoginItem::XdgLoginItem(Entry entry)
    : entry_(std::move(entry)) {}

fs::path XdgLoginItem::file() const {
    return entry_.autostartFolder / (entry_.identifier + ".desktop");
}

LoginItemStatus XdgLoginItem::status() const {
    const FileContent content = readFile(file(), longestEntry);
    if (content.kind == FileContent::Kind::absent)
        return LoginItemStatus::notRegistered;
    const auto entry = DesktopEntry::parse(content.text);
    if (!entry || entry->string("Type") != "Application")
        return LoginItemStatus::notFound;
    const auto named = execProgram(entry->string("Exec").value_or(""));
    const auto program = named ? locatedProgram(*named, entry_.searchPath) : std::nullopt;
    if (!program)
        return LoginItemStatus::notFound;
    if (const auto condition = entry->string("TryExec");
        condition && !locatedProgram(*condition, entry_.searchPath))
        return LoginItemStatus::notFound;
    std::error_code error;
    if (!fs::equivalent(*program, entry_.program, error))
        return LoginItemStatus::notRegistered;
    return isSwitchedOff(*entry) ? LoginItemStatus::requiresApproval : LoginItemStatus::enabled;
}

std::optional<std::string> XdgLoginItem::registerItem() {
    const FileContent content = readFile(file(), longestEntry);
    DesktopEntry entry = DesktopEntry::parse(content.text).value_or(DesktopEntry{});
    entry.setString("Type", "Application");
    if (!entry.raw("Name"))
        entry.setString("Name", "Morvel");
    if (!entry.raw("Icon"))
        entry.setString("Icon", entry_.identifier);
    entry.setString("Exec", execQuoted(entry_.program.string()));
    entry.setString("TryExec", entry_.program.string());
    if (const auto problem = replaceFile(file(), entry.text()))
        return asValidUtf8(*problem);
    return std::nullopt;
}

std::optional<std::string> XdgLoginItem::unregisterItem() {
    if (::unlink(file().c_str()) == 0 || errno == ENOENT || errno == ENOTDIR)
        return std::nullopt;
    return fmt::format("{}: {}", asValidUtf8(file().string()),
                       std::generic_category().message(errno));
}

} // namespace morvel
