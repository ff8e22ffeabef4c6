#include "platform/linux/Descriptor.h"
#include "platform/linux/SessionType.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <filesystem>
#include <map>
#include <string>

namespace morvel {
namespace {

using Variables = std::map<std::string, std::string>;

Environment environmentOf(const Variables& variables) {
    return [variables](const std::string& name) -> std::optional<std::string> {
        const auto found = variables.find(name);
        return found == variables.end() ? std::nullopt : std::optional(found->second);
    };
}
bool isX11With(const Variables& variables) {
    return isX11Session(environmentOf(variables));
}

// A compositor as far as that it can be connected to.
class Listening {
public:
    explicit Listening(const std::filesystem::path& path) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.string().copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(listen(socket_.get(), 4), 0);
    }

private:
    const Descriptor socket_{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
};

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

TEST(SessionType, ACompositorThatListensIsADisplayAndAStaleNameIsNone) {
    const TemporaryFolder folder;
    Variables variables{{"WAYLAND_DISPLAY", "display"}, {"XDG_RUNTIME_DIR", folder.path()}};
    EXPECT_FALSE(displayServerAnswers(environmentOf(variables)));
    {
        const Listening compositor(folder / "display");
        EXPECT_TRUE(displayServerAnswers(environmentOf(variables)));
        variables["WAYLAND_DISPLAY"] = folder / "display";
        variables.erase("XDG_RUNTIME_DIR");
        EXPECT_TRUE(displayServerAnswers(environmentOf(variables)));
        variables["QT_QPA_PLATFORM"] = "wayland;xcb";
        EXPECT_TRUE(displayServerAnswers(environmentOf(variables)));
        variables["QT_QPA_PLATFORM"] = "xcb";
        EXPECT_FALSE(displayServerAnswers(environmentOf(variables)));
        variables.erase("QT_QPA_PLATFORM");
    }
    EXPECT_FALSE(displayServerAnswers(environmentOf(variables))); // its socket is still there
}

TEST(SessionType, WhereNoDisplayIsNamedThereIsNone) {
    EXPECT_FALSE(displayServerAnswers(environmentOf({})));
    EXPECT_FALSE(displayServerAnswers(environmentOf({{"QT_QPA_PLATFORM", "wayland"}})));
    EXPECT_FALSE(displayServerAnswers(environmentOf({{"DISPLAY", ":no such display"}})));
}

TEST(SessionType, APlatformWithoutADisplayIsTakenAtItsWordOnWayland) {
    EXPECT_TRUE(displayServerAnswers(
        environmentOf({{"QT_QPA_PLATFORM", "offscreen"}, {"WAYLAND_DISPLAY", "none"}})));
}

} // namespace
} // namespace morvel
