// What a window says of itself to the window manager, read back from a real X server.

#include "platform/linux/X11FloatingWindows.h"
#include "tests/support/BusServer.h"
#include "tests/support/MainLoop.h"
#include "tests/support/XServer.h"

#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <QGuiApplication>
#include <QRasterWindow>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace morvel {
namespace {

xcb_connection_t* server() {
    return qGuiApp->nativeInterface<QNativeInterface::QX11Application>()->connection();
}

xcb_atom_t atom(const std::string& name) {
    const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
        xcb_intern_atom_reply(
            server(),
            xcb_intern_atom(server(), 0, static_cast<std::uint16_t>(name.size()), name.c_str()),
            nullptr),
        &std::free);
    return reply->atom;
}

std::vector<std::uint32_t> property(const QWindow& window, const std::string& name) {
    const std::unique_ptr<xcb_get_property_reply_t, decltype(&std::free)> reply(
        xcb_get_property_reply(server(),
                               xcb_get_property(server(), 0,
                                                static_cast<xcb_window_t>(window.winId()),
                                                atom(name), XCB_ATOM_ANY, 0, 100),
                               nullptr),
        &std::free);
    const auto* values = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
    return {values, values + reply->value_len};
}

TEST(X11FloatingWindowsTest, AWindowStaysAboveOnEveryDesktopAndOutOfTheTaskBar) {
    QRasterWindow window;
    window.setFlag(Qt::WindowStaysOnTopHint);
    X11FloatingWindows floating;
    floating.prepare(window.winId());
    window.show();
    ASSERT_TRUE(test::runUntil([&] { return window.isExposed(); }));
    EXPECT_EQ(property(window, "_NET_WM_DESKTOP"), std::vector<std::uint32_t>{0xFFFFFFFF});
    const auto states = property(window, "_NET_WM_STATE");
    for (const char* state : {"_NET_WM_STATE_ABOVE", "_NET_WM_STATE_STICKY",
                              "_NET_WM_STATE_SKIP_TASKBAR", "_NET_WM_STATE_SKIP_PAGER"})
        EXPECT_EQ(std::count(states.begin(), states.end(), atom(state)), 1) << state;
}

} // namespace
} // namespace morvel

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (testing::GTEST_FLAG(list_tests))
        return RUN_ALL_TESTS();
    const morvel::test::XServer server;
    qputenv("DISPLAY", QByteArray::fromStdString(server.display()));
    qputenv("QT_QPA_PLATFORM", "xcb");
    qputenv("DBUS_SESSION_BUS_ADDRESS", morvel::test::noBus);
    QGuiApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
