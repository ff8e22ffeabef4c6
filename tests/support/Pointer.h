// Moves the pointer of an X server and presses its buttons as a mouse would (XTEST), and strikes
// keys together.
#pragma once

#include "tests/support/XClient.h"
#include "tools/audition/KeyInjector.h"

#include <QPoint>
#include <chrono>
#include <string>
#include <vector>

namespace morvel::test {

// Points are on the screen, in device pixels. Every call returns once the server has done it.
class Pointer {
public:
    enum Button { left = 1, middle = 2, right = 3, wheelUp = 4, wheelDown = 5 };

    explicit Pointer(const std::string& display)
        : x_(display) {}

    void move(const QPoint& to);
    void press(Button button = left);
    void release(Button button = left);
    void click(const QPoint& at, Button button = left);
    void doubleClick(const QPoint& at, Button button = left);
    // One notch each; positive: away from the user.
    void wheel(const QPoint& at, int notches);

    // Moves to the first point, and through the others in straight lines of `steps` movements each,
    // one every `pace`, as a hand does.
    void glide(const std::vector<QPoint>& path, int steps, std::chrono::milliseconds pace);
    // The same, pressing at the first point and releasing at the last.
    void drag(const std::vector<QPoint>& path, int steps = 20,
              std::chrono::milliseconds pace = std::chrono::milliseconds(8), Button button = left);

    QPoint position();

private:
    void send(std::uint8_t kind, std::uint8_t detail, const QPoint& to);

    XClient x_;
};

// Presses `modifiers` in order, strikes `key`, and lets go of them.
void strike(audition::KeyInjector& keys, xkb_keysym_t key,
            const std::vector<xkb_keysym_t>& modifiers = {});

} // namespace morvel::test
