// Takes the documentation's pictures of the running program, on a desktop of its own:
// screenshots FOLDER. Light and dark, at single and at double density.

#include "tests/desktop/UserDesktop.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/MainLoop.h"
#include "tests/support/Screenshot.h"
#include "tests/support/TrayIcon.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QMap>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <numbers>
#include <stdexcept>

using SettingGroups = QMap<QString, QVariantMap>;
Q_DECLARE_METATYPE(SettingGroups)

namespace morvel::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* portalName = "org.freedesktop.portal.Desktop";
constexpr const char* portalPath = "/org/freedesktop/portal/desktop";

constexpr std::uintmax_t wavHeader = 44; // bytes

constexpr const char* fonts = R"(<?xml version="1.0"?>
<!DOCTYPE fontconfig SYSTEM "fonts.dtd">
<fontconfig>
  <include>/etc/fonts/fonts.conf</include>
  <match target="pattern">
    <edit name="family" mode="assign" binding="strong"><string>Inter</string></edit>
  </match>
</fontconfig>
)";

template <typename Value>
Value required(std::optional<Value> value, const std::string& what) {
    if (!value)
        throw std::runtime_error("there is no " + what);
    return *value;
}

// What the desktop prefers, light or dark.
class Portal : public QDBusVirtualObject {
public:
    explicit Portal(bool dark)
        : dark_(dark) {}
    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        if (message.member() != "ReadAll")
            return false;
        const SettingGroups settings = {
            {"org.freedesktop.appearance", {{"color-scheme", dark_ ? uint{1} : uint{2}}}}};
        connection.send(message.createReply(QVariant::fromValue(settings)));
        return true;
    }

private:
    const bool dark_;
};

// One colour for the desktop's wall, known to the compositor as the desktops' programs for it do.
class Background {
public:
    Background(const std::string& display, QRgb color)
        : x_(display) {
        const xcb_pixmap_t pixmap = xcb_generate_id(x_.handle());
        const auto width = x_.screen().width_in_pixels;
        const auto height = x_.screen().height_in_pixels;
        xcb_create_pixmap(x_.handle(), x_.screen().root_depth, pixmap, x_.root(), width, height);
        const xcb_gcontext_t context = xcb_generate_id(x_.handle());
        const std::uint32_t foreground = color & 0xffffff;
        xcb_create_gc(x_.handle(), context, pixmap, XCB_GC_FOREGROUND, &foreground);
        const xcb_rectangle_t all{0, 0, width, height};
        xcb_poly_fill_rectangle(x_.handle(), pixmap, context, 1, &all);
        xcb_change_window_attributes(x_.handle(), x_.root(), XCB_CW_BACK_PIXMAP, &pixmap);
        for (const char* property : {"_XROOTPMAP_ID", "ESETROOT_PMAP_ID"})
            xcb_change_property(x_.handle(), XCB_PROP_MODE_REPLACE, x_.root(), x_.atom(property),
                                XCB_ATOM_PIXMAP, 32, 1, &pixmap);
        xcb_clear_area(x_.handle(), 0, x_.root(), 0, 0, 0, 0);
        x_.settle();
    }

private:
    XClient x_; // the pixmap lives as long as its client
};

class Studio {
public:
    Studio(std::filesystem::path folder, bool dark, int density)
        : folder_(std::move(folder))
        , suffix_(std::string(dark ? "-dark-" : "-light-") + std::to_string(density) + "x.png")
        , density_(density)
        , desktop_({.screen = {1280 * density, 800 * density, 96 * density},
                    .panel = Panel::tint2,
                    .compositor = true,
                    .sound = true,
                    .dpi = 96 * density})
        , portal_(dark)
        , background_(desktop_.session.display(), dark ? qRgb(52, 62, 78) : qRgb(196, 210, 222)) {
        writeText(desktop_.session.home() + "/fonts.conf", fonts);
        centreTheTray();
        QDBusConnection bus = desktop_.session.bus().connection();
        bus.registerVirtualObject(portalPath, &portal_);
        bus.registerService(portalName);
    }

    // So that the drawer has room on both sides.
    void centreTheTray() {
        const std::string file = desktop_.session.home() + "/.config/tint2/tint2rc";
        std::string configuration = readText(file);
        const std::string items = "panel_items = S";
        configuration.replace(configuration.find(items), items.size(), "panel_items = FSF");
        desktop_.session.stopPanel();
        writeText(file, configuration);
        desktop_.session.startPanel(Panel::tint2);
    }

    void takeAll() {
        drawer();
        permission();
        settings();
        emptyList();
    }

private:
    void start(const std::vector<std::string>& options = {}, std::vector<std::string> more = {}) {
        more.push_back("FONTCONFIG_FILE=" + desktop_.session.home() + "/fonts.conf");
        more.push_back("PATH=" + desktop_.session.home());
        desktop_.start(options, more);
        if (!desktop_.program().awaitLine("onboarding gate"))
            throw std::runtime_error("Morvel did not start");
        rest(); // it asks for light or dark meanwhile
    }
    void end() {
        if (desktop_.end(SIGTERM) != 0)
            throw std::runtime_error("Morvel did not end well");
    }
    static void rest(std::chrono::milliseconds time = 300ms) {
        bool over = false;
        QTimer::singleShot(time, [&over] { over = true; });
        runUntil([&over] { return over; }, time + 5s);
    }

    Window window(const std::string& title) {
        // The icon in the tray is a window that may be called so too.
        return required(desktop_.windows.await([&](const Window& shown) {
            return shown.title == title && shown.geometry.width() > 200 * density_;
        }),
                        "window " + title);
    }
    // On the screen, whatever the density.
    QRect place(const std::string& title, const std::string& name, int number = 0) {
        required(desktop_.controls.await(title, name), name);
        for (const Control& control : desktop_.controls.controls(title)) {
            if (control.role == "frame" || control.name != name || number-- > 0)
                continue;
            return {control.place.topLeft() * density_, control.place.size() * density_};
        }
        throw std::runtime_error("there is no " + name);
    }
    void click(const std::string& title, const std::string& name, int number = 0) {
        desktop_.pointer.click(place(title, name, number).center());
    }
    // Not in the same moment as a click, whose place the program is to see.
    void pointerAway() {
        rest(100ms);
        desktop_.pointer.move({2, 2});
    }

    // Once nothing moves any more.
    void take(const std::string& name, QRect area, int margin = 20) {
        area = area.adjusted(-margin * density_, -margin * density_, margin * density_,
                             margin * density_);
        area &= screenshot_.take().rect();
        QImage picture = screenshot_.take(area);
        for (int tries = 0; tries < 30; ++tries) {
            rest();
            const QImage again = screenshot_.take(area);
            if (again == picture)
                break;
            picture = again;
        }
        const auto file = folder_ / (name + suffix_);
        if (!picture.convertToFormat(QImage::Format_RGB888)
                 .save(QString::fromStdString(file.string()), "PNG", 0))
            throw std::runtime_error("cannot write " + file.string());
        std::cout << file.filename().string() << "\n" << std::flush;
    }
    // With the window manager's frame.
    void takeWindow(const std::string& name, const std::string& title) {
        const Window shown = window(title);
        XClient x(desktop_.session.display());
        const auto frame = x.values(shown.id, "_NET_FRAME_EXTENTS");
        QRect area = shown.geometry;
        if (frame.size() == 4)
            area.adjust(-static_cast<int>(frame[0]), -static_cast<int>(frame[2]),
                        static_cast<int>(frame[1]), static_cast<int>(frame[3]));
        take(name, area);
    }

    QRect openDrawer() {
        const QRect icon = TrayIcon(desktop_.session).await();
        desktop_.pointer.click(icon.center());
        const QRect drawer = window(drawerTitle).geometry;
        pointerAway();
        return drawer;
    }
    void drawer() {
        start();
        const QRect icon = TrayIcon(desktop_.session).await();
        desktop_.pointer.click(icon.center(), Pointer::right);
        const auto menu = required(desktop_.windows.await([&](const Window& shown) {
            return shown.overrideRedirect && shown.geometry.height() > 60 * density_ &&
                   shown.pid == desktop_.program().process().pid();
        }),
                                   "menu");
        take("menu", menu.geometry);
        test::strike(desktop_.keys, XKB_KEY_Escape);
        desktop_.windows.awaitNone([&](const Window& shown) { return shown.id == menu.id; });

        const QRect place = openDrawer();
        take("drawer-idle", place, 4);
        click(drawerTitle, "Fidget switch");
        pointerAway();
        take("drawer-switch-on", place, 4);
        desktop_.pointer.move(this->place(drawerTitle, "Clicky button").center());
        desktop_.pointer.press();
        take("drawer-button-pressed", place, 4);
        desktop_.pointer.release();
        // The last ones first: one that is popped has another name.
        for (const int bubble : {18, 12, 7, 6, 2, 1, 0})
            click(drawerTitle, "Bubble", bubble);
        pointerAway();
        take("drawer-popped", place, 4);
        turnDial();
        pointerAway();
        take("drawer-dial-turned", place, 4);
        end();

        desktop_.settings.write({{"module.fidget.enabled", false}});
        start();
        take("drawer-module-off", openDrawer(), 4);
        end();
        std::filesystem::remove(desktop_.settings.path());
    }
    void turnDial() {
        const QRect dial = place(drawerTitle, "Fidget dial");
        const auto at = [&](int degrees) {
            const double angle = degrees * std::numbers::pi / 180;
            const double reach = dial.width() * 0.3;
            return dial.center() + QPoint(static_cast<int>(std::cos(angle) * reach),
                                          static_cast<int>(std::sin(angle) * reach));
        };
        std::vector<QPoint> path;
        for (int degrees = -90; degrees <= 40; degrees += 5)
            path.push_back(at(degrees));
        path.insert(path.end(), 20, path.back()); // it is let go of at rest
        desktop_.pointer.drag(path, 1, 15ms);
    }

    void permission() {
        start({}, {"MORVEL_SIMULATE_UNTRUSTED=1"});
        window(permissionTitle);
        pointerAway();
        takeWindow("permission-needed", permissionTitle);
        end();
        std::vector<std::string> environment = desktop_.session.environment();
        environment.push_back("FONTCONFIG_FILE=" + desktop_.session.home() + "/fonts.conf");
        const ChildProcess granted({{GRANTED_PERMISSION}, environment, "/dev/null", {}});
        window(permissionTitle);
        rest(); // it asks for light or dark meanwhile
        takeWindow("permission-granted", permissionTitle);
    }

    void settings() {
        desktop_.settings.write({{"module.keyboard.volume", 0.8}, {"module.fidget.volume", 0.55}});
        const auto broken = desktop_.addTheme("default", "fragile");
        auto manifest = nlohmann::json::parse(readText(broken / "manifest.json"));
        manifest["name"] = "Fragile";
        writeText(broken / "manifest.json", manifest.dump());
        start({"--settings"});
        pointerAway();
        takeWindow("settings-top", settingsTitle);
        // What opens, but holds no sound.
        for (const auto& entry : std::filesystem::directory_iterator(broken))
            if (entry.path().extension() == ".wav")
                std::filesystem::resize_file(entry.path(), wavHeader);
        click(settingsTitle, "Fragile, Installed, by Morvel, All 32 categories");
        scrollDown();
        takeWindow("settings-error", settingsTitle);
        end();
        std::filesystem::remove_all(broken);
        start({"--settings"});
        scrollDown();
        takeWindow("settings-bottom", settingsTitle);
        end();
    }
    void scrollDown() {
        desktop_.pointer.wheel(window(settingsTitle).geometry.topLeft() + QPoint(5, 5), -20);
        pointerAway();
    }
    void emptyList() {
        desktop_.install({"default"});
        start({"--settings"});
        window(settingsTitle);
        std::filesystem::remove_all(desktop_.session.home() +
                                    "/Applications/Morvel.app/share/Sounds/default");
        click(settingsTitle, "Rescan");
        required(desktop_.controls.await(settingsTitle, "No themes found."), "empty list");
        pointerAway();
        takeWindow("settings-empty", settingsTitle);
        end();
    }

    const std::filesystem::path folder_;
    const std::string suffix_;
    const int density_;
    UserDesktop desktop_;
    Portal portal_;
    Background background_;
    Screenshot screenshot_{desktop_.session.display()};
};

} // namespace
} // namespace morvel::test

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    if (argc != 2) {
        std::cerr << "usage: screenshots FOLDER\n";
        return 1;
    }
    qDBusRegisterMetaType<SettingGroups>();
    try {
        std::filesystem::create_directories(argv[1]);
        for (const bool dark : {false, true})
            for (const int density : {1, 2})
                morvel::test::Studio(argv[1], dark, density).takeAll();
    } catch (const std::exception& error) {
        std::cerr << "screenshots: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
