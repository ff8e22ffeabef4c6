// The windows that programs show.
#pragma once

#include "tests/support/XClient.h"

#include <sys/types.h>

#include <QRect>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace morvel::test {

struct Window {
    xcb_window_t id = XCB_NONE;
    std::string title;        // _NET_WM_NAME, else WM_NAME
    std::string instanceName; // the first half of WM_CLASS
    std::string className;    // the second
    pid_t pid = 0;            // 0: it does not say
    QRect geometry;           // on the screen, without the window manager's frame; device pixels
    bool overrideRedirect = false; // a menu or the like, which no window manager manages
};

using Wanted = std::function<bool(const Window&)>;

inline Wanted ofProcess(pid_t pid) {
    return [pid](const Window& window) { return window.pid == pid; };
}
inline Wanted titled(std::string title) {
    return [title = std::move(title)](const Window& window) { return window.title == title; };
}
inline Wanted ofClass(std::string name) {
    return [name = std::move(name)](const Window& window) { return window.className == name; };
}
inline Wanted operator&&(Wanted first, Wanted second) {
    return [first = std::move(first), second = std::move(second)](const Window& window) {
        return first(window) && second(window);
    };
}

// One thread.
class WindowFinder {
public:
    explicit WindowFinder(const std::string& display)
        : x_(display) {}

    // All windows on the screen that belong to a program, from the bottom up. A window manager's
    // frames do not count.
    std::vector<Window> mapped();
    std::optional<Window> find(const Wanted& wanted);

    // Waits for such a window to be on the screen, or for there to be none.
    std::optional<Window> await(const Wanted& wanted,
                                std::chrono::milliseconds limit = XClient::usualLimit);
    bool awaitNone(const Wanted& wanted, std::chrono::milliseconds limit = XClient::usualLimit);

    // The window that gets the keys; none: the root or a frame.
    std::optional<Window> focused();
    bool awaitFocus(const Wanted& wanted, std::chrono::milliseconds limit = XClient::usualLimit);

    // Asks the window manager to close a window, as a click on its close button does.
    void close(const Window& window);

private:
    void collect(xcb_window_t parent, std::vector<Window>& found);
    std::optional<Window> describe(xcb_window_t id);

    XClient x_;
};

} // namespace morvel::test
