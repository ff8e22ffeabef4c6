#include "platform/qt/PanelInk.h"

#include <QImage>
#include <QPixmap>
#include <QScreen>
#include <algorithm>
#include <vector>

namespace morvel {

namespace {

constexpr int thinnestPanel = 12; // points

// The edges of the screen that windows may not cover.
std::vector<QRect> panels(const QScreen& screen) {
    const QRect whole = screen.geometry();
    const QRect free = screen.availableGeometry();
    std::vector<QRect> found;
    for (const QRect& edge : {QRect(whole.topLeft(), QPoint(whole.right(), free.top() - 1)),
                              QRect(QPoint(whole.left(), free.bottom() + 1), whole.bottomRight()),
                              QRect(whole.topLeft(), QPoint(free.left() - 1, whole.bottom())),
                              QRect(QPoint(free.right() + 1, whole.top()), whole.bottomRight())})
        if (std::min(edge.width(), edge.height()) >= thinnestPanel)
            found.push_back(edge);
    return found;
}

// 0 to 255; nothing to look at is nothing.
std::optional<int> medianLightness(const QImage& image, bool rimOnly) {
    std::vector<int> lightness;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (!rimOnly || x == 0 || y == 0 || x == image.width() - 1 || y == image.height() - 1)
                lightness.push_back(qGray(image.pixel(x, y)));
    if (lightness.empty())
        return std::nullopt;
    const auto middle = lightness.begin() + static_cast<std::ptrdiff_t>(lightness.size() / 2);
    std::ranges::nth_element(lightness, middle);
    return *middle;
}

} // namespace

QColor panelInk(QScreen& screen, const std::optional<QRect>& icon) {
    QRect place;
    if (icon) {
        place = *icon;
    } else {
        const auto found = panels(screen);
        if (found.size() != 1)
            return inkOfUnknownPanel;
        place = found.front();
    }
    const QPoint origin = screen.geometry().topLeft();
    const QImage seen = screen
                            .grabWindow(0, place.x() - origin.x(), place.y() - origin.y(),
                                        place.width(), place.height())
                            .toImage();
    const auto lightness = medianLightness(seen, icon.has_value());
    if (!lightness)
        return inkOfUnknownPanel;
    return *lightness > 127 ? QColor(46, 46, 50) : QColor(240, 240, 242);
}

} // namespace morvel
