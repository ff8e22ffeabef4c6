#include "tests/support/Screenshot.h"

#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace morvel::test {

QImage Screenshot::take() {
    return take(QRect(0, 0, x_.screen().width_in_pixels, x_.screen().height_in_pixels));
}

QImage Screenshot::take(const QRect& area) {
    const auto reply = held(xcb_get_image_reply(
        x_.handle(),
        xcb_get_image(x_.handle(), XCB_IMAGE_FORMAT_Z_PIXMAP, x_.root(),
                      static_cast<std::int16_t>(area.x()), static_cast<std::int16_t>(area.y()),
                      static_cast<std::uint16_t>(area.width()),
                      static_cast<std::uint16_t>(area.height()), ~0U),
        nullptr));
    if (!reply)
        throw std::runtime_error("no picture: is the area on the screen?");
    QImage picture(area.size(), QImage::Format_RGB32);
    const auto bytes = static_cast<std::size_t>(picture.sizeInBytes());
    if (static_cast<std::size_t>(xcb_get_image_data_length(reply.get())) != bytes)
        throw std::runtime_error("the screen's pixels are not of 32 bits");
    std::memcpy(picture.bits(), xcb_get_image_data(reply.get()), bytes);
    return picture;
}

QImage Screenshot::await(const QRect& area, const std::function<bool(const QImage&)>& done,
                         bool& inTime, std::chrono::milliseconds limit) {
    x_.watchPictures();
    QImage picture;
    inTime = x_.awaitUntil(
        [&] {
            picture = take(area);
            return done(picture);
        },
        limit);
    return picture;
}

QRect boundsOf(const QImage& picture, const std::function<bool(QRgb)>& wanted) {
    QRect bounds;
    for (int y = 0; y < picture.height(); ++y)
        for (int x = 0; x < picture.width(); ++x)
            if (wanted(picture.pixel(x, y)))
                bounds |= QRect(x, y, 1, 1);
    return bounds;
}

QRect difference(const QImage& before, const QImage& after) {
    QRect bounds;
    for (int y = 0; y < after.height(); ++y)
        for (int x = 0; x < after.width(); ++x)
            if (before.pixel(x, y) != after.pixel(x, y))
                bounds |= QRect(x, y, 1, 1);
    return bounds;
}

bool alike(QRgb first, QRgb second, int tolerance) {
    return std::abs(qRed(first) - qRed(second)) <= tolerance &&
           std::abs(qGreen(first) - qGreen(second)) <= tolerance &&
           std::abs(qBlue(first) - qBlue(second)) <= tolerance;
}

} // namespace morvel::test
