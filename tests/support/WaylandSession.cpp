#include "tests/support/WaylandSession.h"

#include "tests/support/LinePipe.h"
#include "tests/support/Screenshot.h"
#include "tests/support/SessionEnvironment.h"

#include <fmt/format.h>

#include <csignal>
#include <stdexcept>

namespace morvel::test {

namespace {

using namespace std::chrono_literals;

constexpr const char* itemWatcher = "org.kde.StatusNotifierWatcher";
constexpr auto usualLimit = SwayControl::usualLimit;
constexpr int smallestIcon = 8;

constexpr const char* compositorConfiguration = R"(xwayland disable
focus_follows_mouse {}
font "sans 10"
output HEADLESS-1 resolution {}x{} position 0 0
output HEADLESS-1 scale {}
output HEADLESS-1 background #{:06x} solid_color
exec echo ready > {}
)";

constexpr const char* barConfiguration = R"({{
    "layer": "top", "position": "bottom", "height": {},
    "modules-right": ["tray"], "tray": {{"icon-size": 24}}
}})";

constexpr const char* barStyle = R"(* { border: none; min-height: 0; }
window#waybar { background: #404040; }
)";

void require(bool condition, const char* what) {
    if (!condition)
        throw std::runtime_error(what);
}

} // namespace

WaylandSession::WaylandSession(const Setup& setup)
    : setup_(setup)
    , sound_(folder_.path() / "sound") {
    const auto runtime = folder_.folder("runtime");
    std::filesystem::permissions(runtime, std::filesystem::perms::owner_all);
    writeText(folder_ / ".config/waybar/config", fmt::format(barConfiguration, barHeight));
    writeText(folder_ / ".config/waybar/style.css", barStyle);
    bus_ = std::make_unique<SessionBus>(runtime, environment());
    startCompositor();
    input_ = std::make_unique<WaylandInput>(home() + "/runtime/wayland-1", screen.size());
    if (setup.bar)
        startBar();
    if (setup.sound)
        sound_.start();
}

// Its compositor may be gone already.
WaylandSession::~WaylandSession() {
    bar_.reset();
}

std::vector<std::string> WaylandSession::environment() const {
    auto result = sessionEnvironment(home(), sound_.address(), bus_.get());
    result.insert(result.end(), {"WAYLAND_DISPLAY=wayland-1", "XDG_SESSION_TYPE=wayland",
                                 "XDG_SEAT", "DISPLAY", "QT_QPA_PLATFORM", PulseServer::unhurried});
    return result;
}

std::unique_ptr<ChildProcess> WaylandSession::start(std::vector<std::string> command) const {
    const std::string log = home() + "/" + command.front() + ".log";
    return std::make_unique<ChildProcess>(
        ChildProcess::Setup{std::move(command), environment(), log, {}, log});
}

void WaylandSession::startCompositor() {
    const std::string socket = home() + "/runtime/sway";
    const std::string configuration = home() + "/sway";
    LinePipe ready(home() + "/ready");
    writeText(configuration,
              fmt::format(compositorConfiguration, setup_.focusFollowsPointer ? "yes" : "no",
                          screen.width() * setup_.scale, screen.height() * setup_.scale,
                          setup_.scale, setup_.background & 0xffffff, ready.path()));
    std::vector<std::string> variables = {
        "WLR_BACKENDS=headless",  "WLR_RENDERER=pixman",  "WLR_LIBINPUT_NO_DEVICES=1",
        "WLR_HEADLESS_OUTPUTS=1", "LIBSEAT_BACKEND=noop", "SWAYSOCK=" + socket,
        "WAYLAND_DISPLAY"};
    for (const std::string& variable : environment())
        variables.push_back(variable);
    compositor_ =
        std::make_unique<ChildProcess>(ChildProcess::Setup{{"sway", "--config", configuration},
                                                           std::move(variables),
                                                           home() + "/sway.log",
                                                           {},
                                                           home() + "/sway.log"});
    require(ready.await("ready", usualLimit), "the compositor did not start");
    control_ = std::make_unique<SwayControl>(socket);
}

void WaylandSession::startBar() {
    bar_ = start({"waybar"});
    require(bus_->awaitName(itemWatcher), "the bar watches for no tray items");
}

void WaylandSession::killBar() {
    bar_->signal(SIGKILL);
    bar_->wait(10s);
    bar_.reset();
    bus_->awaitNoName(itemWatcher);
}

void WaylandSession::killCompositor() {
    compositor_->signal(SIGKILL);
    compositor_->wait(10s);
}

QImage WaylandSession::picture() const {
    const std::string file = home() + "/picture.ppm";
    ChildProcess grim({{"grim", "-t", "ppm", file}, environment(), {}, {}});
    require(grim.wait(usualLimit) == 0, "no picture of the screen");
    return QImage(QString::fromStdString(file));
}

QImage WaylandSession::awaitPicture(const std::function<bool(const QImage&)>& done) const {
    const auto deadline = std::chrono::steady_clock::now() + usualLimit;
    while (std::chrono::steady_clock::now() < deadline)
        if (QImage now = picture(); done(now))
            return now;
    return {};
}

QImage WaylandSession::settledPicture() const {
    QImage last;
    return awaitPicture([&](const QImage& now) { return std::exchange(last, now) == now; });
}

bool WaylandSession::isCovered(QPoint point, const QImage& picture) const {
    return !alike(picture.pixel(point * setup_.scale), setup_.background);
}

QRect WaylandSession::iconIn(const QImage& picture) const {
    const int scale = setup_.scale;
    const QRect area(barArea.topLeft() * scale, barArea.size() * scale);
    const QImage bar = picture.copy(area);
    const QRgb empty = bar.pixel(0, bar.height() / 2);
    const QRect found = boundsOf(bar, [&](QRgb pixel) { return !alike(pixel, empty); });
    if (found.width() < smallestIcon || found.width() > 2 * bar.height())
        return {};
    const QRect place = found.translated(area.topLeft());
    return {place.topLeft() / scale, place.size() / scale};
}

QRect WaylandSession::awaitIcon() const {
    QRect icon;
    awaitPicture([&](const QImage& now) { return !(icon = iconIn(now)).isEmpty(); });
    return icon;
}

bool WaylandSession::awaitNoIcon() const {
    return !awaitPicture([&](const QImage& now) { return iconIn(now).isEmpty(); }).isNull();
}

} // namespace morvel::test
