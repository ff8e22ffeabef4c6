// A mouse and a keyboard of a Wayland compositor that lets clients be some (wlroots' protocols).
// What they do is done by the time a call returns. Main thread.
#pragma once

#include <QPoint>
#include <QSize>
#include <cstdint>
#include <memory>
#include <string>

struct wl_display;
struct wl_proxy;

namespace morvel::test {

class WaylandInput {
public:
    enum class Button : std::uint32_t { left = 0x110, right = 0x111 };

    // `socket` is the path of the compositor's socket, `size` that of its one screen in points.
    // Throws std::runtime_error where there is no such compositor.
    WaylandInput(const std::string& socket, QSize size);
    ~WaylandInput();
    WaylandInput(const WaylandInput&) = delete;
    WaylandInput& operator=(const WaylandInput&) = delete;

    void move(QPoint point);
    void press(Button button = Button::left) { setButton(button, true); }
    void release(Button button = Button::left) { setButton(button, false); }
    void click(QPoint point, Button button = Button::left);

    // A key of an American keyboard goes down and up, by the kernel's number of it (KEY_ESC).
    void strike(std::uint32_t key);

private:
    struct Globals;

    void setButton(Button button, bool down);
    void setKeymap();
    void settle();
    std::uint32_t now() const;

    wl_display* display_;
    const QSize size_;
    std::unique_ptr<Globals> globals_;
    wl_proxy* mouse_ = nullptr;
    wl_proxy* keyboard_ = nullptr;
};

} // namespace morvel::test
