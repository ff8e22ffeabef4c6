// The application as the user's login item: whether this copy may be one, and the switch.
//
// Main thread. A copy that is no application bundle, or that lies where it will not last (a disk
// image, a build folder, the Downloads folder, anywhere outside the allowed roots), is refused.
#pragma once

#include "platform/ApplicationBundle.h"
#include "platform/Log.h"
#include "platform/LoginItemService.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace morvel {

struct NotAnApplicationBundle {
    bool operator==(const NotAnApplicationBundle&) const = default;
};

struct OutsideAllowedFolders {
    std::string locationPhrase; // where the copy is instead, as in "Morvel is <phrase>"

    bool operator==(const OutsideAllowedFolders&) const = default;
};

// Why launch at login cannot be used here.
using Unavailability = std::variant<NotAnApplicationBundle, OutsideAllowedFolders>;

// As logs name it: "not registered".
std::string_view logName(LoginItemStatus status);

class LaunchAtLogin {
public:
    LaunchAtLogin(LoginItemService& service, ApplicationBundle bundle, InstallationPaths paths,
                  Log& log);

    // None when launch at login is available. Looks at the file system at every call.
    std::optional<Unavailability> unavailability() const;

    // The real state: available, and the service says enabled.
    bool isEnabled() const;

    // Whether only the user can go on, in the system's own list: available, but the item waits for
    // approval or what it should start is gone.
    bool needsUser() const;

    // The sentence under the settings window's switch.
    std::string statusDescription() const;

    // Makes the login item follow `enabled`; asks the service only for a change. Answers whether
    // the real state now matches. Every outcome is one log line.
    bool setEnabled(bool enabled);

private:
    std::filesystem::path resolvedBundlePath() const;
    std::string locationPhrase(const std::filesystem::path& resolved) const;

    LoginItemService& service_;
    const ApplicationBundle bundle_;
    const InstallationPaths paths_;
    Log& log_;
};

} // namespace morvel
