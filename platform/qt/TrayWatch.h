// Whether the session has a tray. Adapters: platform/linux, platform/macos.
#pragma once

#include <cstdint>
#include <functional>

namespace morvel {

// How a tray wants its icons: as a description over D-Bus (StatusNotifierItem), as a window put
// into its own (XEmbed), or as a shape that the system's menu bar gives its own colour.
enum class TrayKind : std::uint8_t { none, statusNotifier, embedding, menuBar };

class TrayWatch {
public:
    virtual ~TrayWatch() = default;

    // The tray of this moment; statusNotifier where there are both. Main thread.
    virtual TrayKind kind() const = 0;

    // Who is told, on the main thread, of a change.
    virtual void setChangeHandler(std::function<void()> changed) = 0;
};

} // namespace morvel
