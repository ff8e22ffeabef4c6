#include "tests/support/DesktopSession.h"

#include "tests/support/SessionEnvironment.h"
#include "tests/support/WindowFinder.h"

#include <csignal>
#include <stdexcept>

namespace morvel::test {

namespace {

constexpr const char* traySelection = "_NET_SYSTEM_TRAY_S0";
constexpr const char* compositorSelection = "_NET_WM_CM_S0";
constexpr const char* itemWatcher = "org.kde.StatusNotifierWatcher";

constexpr const char* tint2Configuration = R"(
rounded = 0
background_color = #404040 100
panel_items = S
panel_size = 100% 32
panel_position = bottom center horizontal
panel_background_id = 1
panel_layer = top
wm_menu = 0
strut_policy = follow_size
disable_transparency = 1
systray_padding = 4 4 4
systray_icon_size = 24
systray_sort = ascending
)";

constexpr const char* xfce4Configuration = R"(<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-panel" version="1.0">
  <property name="configver" type="int" value="2"/>
  <property name="panels" type="array">
    <value type="int" value="1"/>
    <property name="panel-1" type="empty">
      <property name="position" type="string" value="p=8;x=0;y=0"/>
      <property name="position-locked" type="bool" value="true"/>
      <property name="length" type="uint" value="100"/>
      <property name="size" type="uint" value="32"/>
      <property name="plugin-ids" type="array"><value type="int" value="1"/></property>
    </property>
  </property>
  <property name="plugins" type="empty">
    <property name="plugin-1" type="string" value="systray"/>
  </property>
</channel>
)";

void require(bool condition, const char* what) {
    if (!condition)
        throw std::runtime_error(what);
}

} // namespace

DesktopSession::DesktopSession(const Setup& setup)
    : unhurried_(setup.unhurried)
    , server_(setup.screen)
    , x_(server_.display())
    , sound_(folder_.path() / "sound") {
    writeText(folder_ / ".config/tint2/tint2rc", tint2Configuration);
    writeText(folder_ / ".config/xfce4/xfconf/xfce-perchannel-xml/xfce4-panel.xml",
              xfce4Configuration);
    const auto runtime = folder_.folder("runtime");
    std::filesystem::permissions(runtime, std::filesystem::perms::owner_all);
    if (setup.dpi != 0)
        setResources(setup.dpi);
    bus_ = std::make_unique<SessionBus>(runtime, environment());
    if (setup.windowManager)
        startWindowManager();
    if (setup.compositor)
        startCompositor();
    startPanel(setup.panel);
    if (setup.sound)
        sound_.start();
}

// Its server may be gone already.
DesktopSession::~DesktopSession() {
    panel_.reset();
}

std::vector<std::string> DesktopSession::environment() const {
    auto result = sessionEnvironment(home(), sound_.address(), bus_.get());
    result.insert(result.end(),
                  {"DISPLAY=" + server_.display(), "XDG_SESSION_TYPE=x11", "WAYLAND_DISPLAY"});
    if (unhurried_)
        result.emplace_back(PulseServer::unhurried);
    return result;
}

std::unique_ptr<ChildProcess> DesktopSession::start(std::vector<std::string> command) const {
    const std::string log = home() + "/" + command.front() + ".log";
    return std::make_unique<ChildProcess>(
        ChildProcess::Setup{std::move(command), environment(), log, {}, log});
}

void DesktopSession::setResources(int dpi) {
    const std::string resources = "Xft.dpi:\t" + std::to_string(dpi) + "\n";
    xcb_change_property(x_.handle(), XCB_PROP_MODE_REPLACE, x_.root(), x_.atom("RESOURCE_MANAGER"),
                        XCB_ATOM_STRING, 8, static_cast<std::uint32_t>(resources.size()),
                        resources.data());
    x_.settle();
}

void DesktopSession::startWindowManager() {
    x_.watch(x_.root(), XCB_EVENT_MASK_PROPERTY_CHANGE);
    // As on desktops that move windows with the Super key: clicks with Alt are the programs' own.
    std::string settings = readText("/etc/xdg/openbox/rc.xml");
    for (std::size_t at = 0; (at = settings.find("button=\"A-", at)) != std::string::npos;)
        settings[at + 8] = 'W';
    if (!settings.empty())
        writeText(folder_ / ".config/openbox/rc.xml", settings);
    windowManager_ = start({"openbox", "--sm-disable"});
    require(
        x_.awaitUntil([&] { return !x_.values(x_.root(), "_NET_SUPPORTING_WM_CHECK").empty(); }),
        "the window manager did not start");
}

void DesktopSession::startCompositor() {
    x_.watchOwner(compositorSelection);
    compositor_ = start({"picom", "--config", "/dev/null", "--backend", "xrender"});
    require(x_.awaitUntil([&] { return x_.owner(compositorSelection) != XCB_NONE; }),
            "the compositor did not start");
}

void DesktopSession::startPanel(Panel panel) {
    if (panel == Panel::none)
        return;
    x_.watchOwner(traySelection);
    panel_ = panel == Panel::tint2 ? start({"tint2"}) : start({"xfce4-panel"});
    require(x_.awaitUntil([&] { return x_.owner(traySelection) != XCB_NONE; }),
            "the panel has no tray");
    if (panel == Panel::xfce4)
        require(bus_->awaitName(itemWatcher), "the panel watches for no tray items");
}

void DesktopSession::stopPanel() {
    if (!panel_)
        return;
    panel_.reset();
    x_.awaitUntil([&] { return x_.owner(traySelection) == XCB_NONE; });
    bus_->awaitNoName(itemWatcher);
}

void DesktopSession::killPanel() {
    panel_->signal(SIGKILL);
    panel_->wait(std::chrono::seconds(10));
    stopPanel();
}

QRect DesktopSession::panelArea() const {
    WindowFinder windows(display());
    const auto panel = windows.await([](const Window& window) {
        return window.className == "Tint2" || window.className == "Xfce4-panel";
    });
    return panel ? panel->geometry : QRect();
}

} // namespace morvel::test
