// The login item as an XDG autostart entry, "<identifier>.desktop" in the user's autostart folder.
//
//   no entry, or one that starts another program         not registered
//   an entry that starts this program                    enabled
//   the same, switched off in the desktop's settings     requires approval: only there can the user
//   (Hidden, X-GNOME-Autostart-enabled or its MATE twin) switch it on again; registering leaves it
//   an entry that cannot be read, or whose program       not found
//   does not exist
#pragma once

#include "platform/LoginItemService.h"

#include <filesystem>
#include <optional>
#include <string>

namespace morvel {

class XdgLoginItem : public LoginItemService {
public:
    struct Entry {
        std::filesystem::path autostartFolder; // "<configuration folder>/autostart"
        std::string identifier;
        std::filesystem::path program; // absolute
        std::string searchPath;        // where the system looks for a program named without folder
    };

    explicit XdgLoginItem(Entry entry);

    LoginItemStatus status() const override;

    // Writes the entry in one step. One that is there keeps its other lines: the user's delay,
    // conditions or switch.
    std::optional<std::string> registerItem() override;
    // Removes the entry; one that is not there is no error.
    std::optional<std::string> unregisterItem() override;

private:
    std::filesystem::path file() const;

    const Entry entry_;
};

} // namespace morvel
