#include "platform/linux/SessionType.h"

#include "platform/linux/Descriptor.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <xcb/xcb.h>

#include <QCoreApplication>
#include <QString>
#include <QStringList>
#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>

namespace morvel {

bool isX11Session(const Environment& environment) {
    const std::string type = environment("XDG_SESSION_TYPE").value_or("");
    if (type == "x11" || type == "wayland")
        return type == "x11";
    return environment("WAYLAND_DISPLAY").value_or("").empty();
}

namespace {

bool xServerAnswers(const Environment& environment) {
    const std::string display = environment("DISPLAY").value_or("");
    if (display.empty())
        return false;
    xcb_connection_t* const connection = xcb_connect(display.c_str(), nullptr);
    const bool answers = xcb_connection_has_error(connection) == 0;
    xcb_disconnect(connection);
    return answers;
}

bool compositorAnswers(const Environment& environment) {
    if (!environment("WAYLAND_SOCKET").value_or("").empty())
        return true; // it is a connection already
    const std::string display = environment("WAYLAND_DISPLAY").value_or("");
    if (display.empty())
        return false;
    const std::string path = std::filesystem::path(environment("XDG_RUNTIME_DIR").value_or("")) /
                             display; // which may be a whole path
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        return false;
    path.copy(address.sun_path, path.size());
    const Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    // One that has no time at the moment is there.
    return ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
               0 ||
           errno == EAGAIN;
}

// Qt would look for a pattern with its engine for regular expressions, which takes half a megabyte.
bool holdsWaylandPlugin(const std::filesystem::path& folder) {
    std::error_code error;
    for (std::filesystem::directory_iterator file(folder, error), end; !error && file != end;
         file.increment(error)) {
        std::error_code unknown;
        if (file->path().filename().string().starts_with("libqwayland") &&
            file->is_regular_file(unknown))
            return true;
    }
    return false;
}

bool qtSpeaksWayland() {
    const QStringList folders = QCoreApplication::libraryPaths();
    return std::any_of(folders.begin(), folders.end(), [](const QString& folder) {
        return holdsWaylandPlugin(std::filesystem::path(folder.toStdString()) / "platforms");
    });
}

} // namespace

bool displayServerAnswers(const Environment& environment) {
    const std::string chosen = environment("QT_QPA_PLATFORM").value_or("");
    const bool waylandIsChosen = chosen.find("wayland") != std::string::npos;
    const bool xIsChosen = chosen.find("xcb") != std::string::npos;
    const bool onCompositor = !environment("WAYLAND_DISPLAY").value_or("").empty();
    if (!chosen.empty() && !waylandIsChosen && !xIsChosen && onCompositor)
        return true;
    if ((chosen.empty() || waylandIsChosen) && qtSpeaksWayland() && compositorAnswers(environment))
        return true;
    return (chosen.empty() || !waylandIsChosen || xIsChosen) && xServerAnswers(environment);
}

} // namespace morvel
