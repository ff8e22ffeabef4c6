#include "tests/support/Pointer.h"

#include <xcb/xtest.h>

#include <cstdlib>
#include <thread>

namespace morvel::test {

void Pointer::send(std::uint8_t kind, std::uint8_t detail, const QPoint& to) {
    xcb_test_fake_input(x_.handle(), kind, detail, XCB_CURRENT_TIME, x_.root(),
                        static_cast<std::int16_t>(to.x()), static_cast<std::int16_t>(to.y()), 0);
    x_.settle();
}

void Pointer::move(const QPoint& to) {
    send(XCB_MOTION_NOTIFY, 0, to);
}

void Pointer::press(Button button) {
    send(XCB_BUTTON_PRESS, static_cast<std::uint8_t>(button), {});
}

void Pointer::release(Button button) {
    send(XCB_BUTTON_RELEASE, static_cast<std::uint8_t>(button), {});
}

void Pointer::click(const QPoint& at, Button button) {
    move(at);
    press(button);
    release(button);
}

void Pointer::doubleClick(const QPoint& at, Button button) {
    click(at, button);
    click(at, button);
}

void Pointer::wheel(const QPoint& at, int notches) {
    move(at);
    for (int i = 0; i < std::abs(notches); ++i) {
        press(notches > 0 ? wheelUp : wheelDown);
        release(notches > 0 ? wheelUp : wheelDown);
    }
}

void Pointer::glide(const std::vector<QPoint>& path, int steps, std::chrono::milliseconds pace) {
    move(path.front());
    auto next = std::chrono::steady_clock::now();
    for (std::size_t i = 1; i < path.size(); ++i)
        for (int step = 1; step <= steps; ++step) {
            std::this_thread::sleep_until(next += pace);
            move(path[i - 1] + (path[i] - path[i - 1]) * step / steps);
        }
}

void Pointer::drag(const std::vector<QPoint>& path, int steps, std::chrono::milliseconds pace,
                   Button button) {
    move(path.front());
    press(button);
    glide(path, steps, pace);
    release(button);
}

QPoint Pointer::position() {
    const auto reply = held(
        xcb_query_pointer_reply(x_.handle(), xcb_query_pointer(x_.handle(), x_.root()), nullptr));
    return reply ? QPoint(reply->root_x, reply->root_y) : QPoint();
}

void strike(audition::KeyInjector& keys, xkb_keysym_t key,
            const std::vector<xkb_keysym_t>& modifiers) {
    for (const xkb_keysym_t modifier : modifiers)
        keys.press(modifier);
    keys.press(key);
    keys.release(key);
    for (auto modifier = modifiers.rbegin(); modifier != modifiers.rend(); ++modifier)
        keys.release(*modifier);
}

} // namespace morvel::test
