#include "platform/linux/SessionType.h"

#include <gtest/gtest.h>

#include <map>

namespace morvel {
namespace {

bool isX11With(std::map<std::string, std::string> variables) {
    return isX11Session([variables](const std::string& name) -> std::optional<std::string> {
        const auto found = variables.find(name);
        return found == variables.end() ? std::nullopt : std::optional(found->second);
    });
}

TEST(SessionType, IsWhatTheSessionSaysItIs) {
    EXPECT_TRUE(isX11With({{"XDG_SESSION_TYPE", "x11"}}));
    EXPECT_FALSE(isX11With({{"XDG_SESSION_TYPE", "wayland"}}));
}

TEST(SessionType, OfADesktopStartedFromAConsoleIsToldByTheWaylandDisplay) {
    EXPECT_FALSE(isX11With({{"XDG_SESSION_TYPE", "tty"}, {"WAYLAND_DISPLAY", "wayland-1"}}));
    EXPECT_FALSE(isX11With({{"XDG_SESSION_TYPE", ""}, {"WAYLAND_DISPLAY", "wayland-1"}}));
    EXPECT_TRUE(isX11With({{"XDG_SESSION_TYPE", "tty"}}));
    EXPECT_TRUE(isX11With({{"WAYLAND_DISPLAY", ""}}));
}

} // namespace
} // namespace morvel
