#include "app/login/LaunchAtLogin.h"

#include "platform/Utf8.h"

#include <fmt/format.h>

#include <system_error>
#include <utility>

namespace morvel {

namespace {

// What does not exist keeps its name; a path that cannot be resolved at all stays as it is. A final
// slash is no part of a folder's name.
std::filesystem::path resolved(const std::filesystem::path& path) {
    std::error_code error;
    std::filesystem::path result = std::filesystem::weakly_canonical(path, error);
    if (error)
        result = path.lexically_normal();
    return result.has_filename() || !result.has_relative_path() ? result : result.parent_path();
}

bool isInside(const std::string& path, const std::string& folder) {
    return !folder.empty() && path.starts_with(folder.ends_with('/') ? folder : folder + '/');
}

std::string_view sentenceOf(LoginItemStatus status) {
    switch (status) {
    case LoginItemStatus::notRegistered:
        return "Morvel will not start automatically.";
    case LoginItemStatus::enabled:
        return "Morvel will start when you log in.";
    case LoginItemStatus::requiresApproval:
        return "Approval needed in System Settings > General > Login Items.";
    case LoginItemStatus::notFound:
        return "The login item could not be found.";
    }
    return "Unknown login item state.";
}

} // namespace

std::string_view logName(LoginItemStatus status) {
    switch (status) {
    case LoginItemStatus::notRegistered:
        return "not registered";
    case LoginItemStatus::enabled:
        return "enabled";
    case LoginItemStatus::requiresApproval:
        return "requires approval";
    case LoginItemStatus::notFound:
        return "not found";
    }
    return "unknown";
}

LaunchAtLogin::LaunchAtLogin(LoginItemService& service, ApplicationBundle bundle,
                             InstallationPaths paths, Log& log)
    : service_(service)
    , bundle_(std::move(bundle))
    , paths_(std::move(paths))
    , log_(log) {}

std::optional<Unavailability> LaunchAtLogin::unavailability() const {
    if (!bundle_.identifier || !bundle_.path.string().ends_with(".app"))
        return NotAnApplicationBundle{};
    const std::filesystem::path path = resolvedBundlePath();
    for (const std::filesystem::path& allowed : paths_.allowedRoots) {
        const std::string root = resolved(allowed).string();
        if (path.string() == root || isInside(path.string(), root))
            return std::nullopt;
    }
    return OutsideAllowedFolders{locationPhrase(path)};
}

bool LaunchAtLogin::isEnabled() const {
    return !unavailability() && service_.status() == LoginItemStatus::enabled;
}

bool LaunchAtLogin::needsUser() const {
    if (unavailability())
        return false;
    const LoginItemStatus status = service_.status();
    return status == LoginItemStatus::requiresApproval || status == LoginItemStatus::notFound;
}

std::string LaunchAtLogin::statusDescription() const {
    const auto reason = unavailability();
    if (!reason)
        return std::string(sentenceOf(service_.status()));
    if (const auto* outside = std::get_if<OutsideAllowedFolders>(&*reason))
        return fmt::format("Morvel is {}, and a login item there would not survive "
                           "a restart. Move Morvel to your Applications folder to enable this.",
                           outside->locationPhrase);
    return "Unavailable — Morvel is running as a loose executable, not an .app bundle. "
           "A distribution build can register itself.";
}

bool LaunchAtLogin::setEnabled(bool enabled) {
    if (const auto reason = unavailability()) {
        if (const auto* outside = std::get_if<OutsideAllowedFolders>(&*reason))
            log_.line(
                fmt::format("Launch at login refused: {} ({}) — install to /Applications first",
                            outside->locationPhrase, asValidUtf8(resolvedBundlePath().string())));
        else
            log_.line("Launch at login unavailable: no .app bundle identity");
        return false;
    }
    const bool isOn = service_.status() == LoginItemStatus::enabled;
    std::optional<std::string> error;
    if (enabled && !isOn)
        error = service_.registerItem();
    else if (!enabled && isOn)
        error = service_.unregisterItem();
    if (error) {
        log_.line(fmt::format("Launch at login change failed: {}", *error));
        return false;
    }
    log_.line(fmt::format("Launch at login -> {} (status now {})", enabled ? "enabled" : "disabled",
                          logName(service_.status())));
    return isEnabled() == enabled;
}

std::filesystem::path LaunchAtLogin::resolvedBundlePath() const {
    return resolved(bundle_.path);
}

std::string LaunchAtLogin::locationPhrase(const std::filesystem::path& resolvedPath) const {
    const std::string path = resolvedPath.string();
    if (path.starts_with("/Volumes/"))
        return "running from a disk image";
    if (path.find("/.build/") != std::string::npos)
        return "running from a build folder";
    if (isInside(path, resolved(paths_.downloads).string()))
        return "running from your Downloads folder";
    return "running from outside your Applications folder";
}

} // namespace morvel
