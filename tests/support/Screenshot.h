// What is to be seen on an X server's screen.
#pragma once

#include "tests/support/XClient.h"

#include <QImage>
#include <functional>
#include <string>

namespace morvel::test {

// One thread. Pictures are of 32 bits, opaque, in device pixels; QImage::save writes a PNG.
class Screenshot {
public:
    explicit Screenshot(const std::string& display)
        : x_(display) {}

    QImage take();
    QImage take(const QRect& area);

    // Takes a picture of `area` now and after whatever is painted, until `done` answers true for
    // it; answers the last one taken, and in `inTime` whether it was that one.
    QImage await(const QRect& area, const std::function<bool(const QImage&)>& done, bool& inTime,
                 std::chrono::milliseconds limit = XClient::usualLimit);

private:
    XClient x_;
};

// The smallest rectangle, in the picture, of all pixels for which `wanted` holds; empty: none.
QRect boundsOf(const QImage& picture, const std::function<bool(QRgb)>& wanted);

// Where two pictures of one size differ.
QRect difference(const QImage& before, const QImage& after);

// Whether no channel of the two differs by more than `tolerance`.
bool alike(QRgb first, QRgb second, int tolerance = 24);

} // namespace morvel::test
