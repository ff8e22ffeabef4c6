#include "tests/desktop/MorvelDesktop.h"

#include <cmath>
#include <cstdlib>
#include <numbers>

namespace morvel::test {

namespace {

using namespace std::chrono_literals;

constexpr double dialRadius = 40; // of the drags on it, pixels

} // namespace

QPoint DrawerPlaces::onDial(double degrees) {
    const double angle = degrees * std::numbers::pi / 180;
    return dial + QPoint(static_cast<int>(std::lround(dialRadius * std::cos(angle))),
                         static_cast<int>(std::lround(dialRadius * std::sin(angle))));
}

MorvelDesktop::MorvelDesktop(const DesktopSession::Setup& setup)
    : session(setup)
    , settings(session.home() + "/.config")
    , windows(session.display())
    , screenshot(session.display())
    , screen(screenshot.take().rect())
    , pointer(session.display())
    , keys(session.display())
    , icon(session)
    , sound_(setup.sound) {}

MorvelDesktop::~MorvelDesktop() {
    morvel.reset();
}

bool MorvelDesktop::start(const std::vector<std::string>& environment,
                          const std::vector<std::string>& options) {
    std::vector<std::string> all = environment;
    for (const std::string& variable : session.environment())
        all.push_back(variable);
    morvel = std::make_unique<MorvelProcess>(session.home(), all, options);
    return morvel->awaitLine("event tap installed") &&
           (!sound_ || morvel->awaitLine("Audio output"));
}

bool MorvelDesktop::startAgain(const std::string& option) {
    ChildProcess second({{MORVEL_PROGRAM, option}, session.environment(), {}, {}});
    return second.wait(20s) == 0;
}

Wanted MorvelDesktop::isMenu(Panel panel) {
    return [this, panel](const Window& window) {
        constexpr int lowest = 60; // higher than a tooltip or an icon
        return window.overrideRedirect && window.geometry.height() > lowest &&
               window.title != "Fidget Drawer" && (window.pid == pid()) == (panel == Panel::tint2);
    };
}

bool MorvelDesktop::clickIcon(Pointer::Button button) {
    const QRect place = icon.await();
    if (place.isEmpty())
        return false;
    pointer.click(place.center(), button);
    return true;
}

QImage MorvelDesktop::settledIcon() {
    const QRect place = icon.await();
    QImage last = screenshot.take(place);
    for (bool changed = true; changed;)
        last = screenshot.await(
            place, [&](const QImage& now) { return now != last; }, changed, 600ms);
    return last;
}

std::optional<QRect> MorvelDesktop::awaitDrawer() {
    const auto window = windows.await(isDrawer());
    if (!window || !windows.awaitFocus(isDrawer()))
        return std::nullopt;
    // Under a compositor its shadow is a part of the window, which moves while it fades in.
    QRect sheet(QPoint(0, 0), DrawerPlaces::size);
    bool inTime = false;
    screenshot.await(
        screen,
        [&](const QImage& picture) {
            if (const auto now = windows.find(isDrawer()))
                sheet.moveCenter(now->geometry.center());
            // The button's face, which is of the accent colour: its colour is the last to be full.
            return QColor(picture.pixel(sheet.topLeft() + DrawerPlaces::button - QPoint(0, 24)))
                       .hsvSaturation() > 120;
        },
        inTime);
    return inTime ? std::optional(sheet) : std::nullopt;
}

void MorvelDesktop::save(const std::string& name) {
    if (const char* folder = std::getenv("MORVEL_PICTURES"))
        screenshot.take().save(QString::fromStdString(std::string(folder) + "/" + name + ".png"));
}

OtherWindow::OtherWindow(MorvelDesktop& desktop, const QRect& place)
    : desktop_(desktop)
    , place_(place)
    , x_(desktop.session.display())
    , id_(xcb_generate_id(x_.handle())) {
    const std::uint32_t values[] = {x_.screen().white_pixel, XCB_EVENT_MASK_KEY_PRESS};
    xcb_create_window(x_.handle(), XCB_COPY_FROM_PARENT, id_, x_.root(),
                      static_cast<std::int16_t>(place.x()), static_cast<std::int16_t>(place.y()),
                      static_cast<std::uint16_t>(place.width()),
                      static_cast<std::uint16_t>(place.height()), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
    // Windows without a class are nobody's.
    const std::string name("other\0Other", 12);
    xcb_change_property(x_.handle(), XCB_PROP_MODE_REPLACE, id_, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING,
                        8, static_cast<std::uint32_t>(name.size()), name.data());
    // Where the user has put it: not the window manager's to choose.
    const std::uint32_t hints[18] = {1}; // USPosition
    xcb_change_property(x_.handle(), XCB_PROP_MODE_REPLACE, id_, XCB_ATOM_WM_NORMAL_HINTS,
                        XCB_ATOM_WM_SIZE_HINTS, 32, 18, hints);
    xcb_map_window(x_.handle(), id_);
    x_.settle();
    desktop_.windows.await([this](const Window& window) { return window.id == id_; });
}

bool OtherWindow::awaitKeyboard() {
    return desktop_.windows.awaitFocus([this](const Window& window) { return window.id == id_; });
}

std::string nameOf(Panel panel) {
    return panel == Panel::tint2 ? "Tint2" : panel == Panel::xfce4 ? "Xfce4" : "NoPanel";
}

} // namespace morvel::test
