// The popover on a real X server with a real window manager.

#include "app/windows/QuickPopover.h"
#include "platform/linux/X11TransientWindows.h"
#include "tests/support/AwaitWindowManager.h"
#include "tests/support/BusServer.h"
#include "tests/support/MainLoop.h"
#include "tests/support/PointerInjector.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/XServer.h"
#include "tools/audition/KeyInjector.h"

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QImage>
#include <QQuickItem>
#include <QScreen>

namespace morvel {
namespace {

std::string display() {
    return qgetenv("DISPLAY").toStdString();
}

// A window of another client, framed by the window manager.
class OtherWindow {
public:
    explicit OtherWindow(const QRect& place)
        : connection_(X11Connection::open())
        , id_(xcb_generate_id(connection_->handle())) {
        const std::uint32_t events[] = {XCB_EVENT_MASK_BUTTON_PRESS | XCB_EVENT_MASK_FOCUS_CHANGE |
                                        XCB_EVENT_MASK_KEY_PRESS};
        xcb_create_window(
            connection_->handle(), XCB_COPY_FROM_PARENT, id_, connection_->root(),
            static_cast<std::int16_t>(place.x()), static_cast<std::int16_t>(place.y()),
            static_cast<std::uint16_t>(place.width()), static_cast<std::uint16_t>(place.height()),
            0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, events);
        observation_ = connection_->observe([this](const xcb_generic_event_t& event) {
            switch (event.response_type & 0x7f) {
            case XCB_BUTTON_PRESS:
                ++presses;
                break;
            case XCB_FOCUS_IN:
                focused = true;
                break;
            case XCB_FOCUS_OUT:
                focused = false;
                break;
            default:
                break;
            }
        });
        const std::uint32_t positionChosen[18] = {1};
        xcb_change_property(connection_->handle(), XCB_PROP_MODE_REPLACE, id_,
                            XCB_ATOM_WM_NORMAL_HINTS, XCB_ATOM_WM_SIZE_HINTS, 32, 18,
                            positionChosen);
        xcb_map_window(connection_->handle(), id_);
        xcb_flush(connection_->handle());
        EXPECT_TRUE(test::runUntil([this] { return focused; }));
    }

    int presses = 0;
    bool focused = false;

private:
    std::unique_ptr<X11Connection> connection_;
    xcb_window_t id_;
    std::unique_ptr<X11Connection::Observation> observation_;
};

class PopoverTest : public testing::Test {
protected:
    PopoverTest()
        : connection_(X11Connection::open())
        , windows_(*connection_)
        , pointer_(display())
        , keys_(display()) {
        // Nothing is under the pointer.
        pointer_.move(5, 790);
    }

    void make(const std::string& qml = "import QtQuick\n"
                                       "Item { id: root\n"
                                       "  property int keys: 0; property int clicks: 0\n"
                                       "  Keys.onPressed: event => { if (event.key === Qt.Key_A) {"
                                       " keys++; event.accepted = true } }\n"
                                       "  MouseArea { anchors.fill: parent\n"
                                       "    onClicked: root.clicks++ } }\n") {
        const QUrl source =
            QUrl::fromLocalFile(QString::fromStdString(folder_.file("View.qml", qml).string()));
        popover_ = std::make_unique<QuickPopover>(
            [this]() -> QQmlEngine& {
                if (!engine_)
                    engine_ = std::make_unique<QQmlEngine>();
                return *engine_;
            },
            windows_, "Fidget Drawer", QSize(320, 400), ViewContent{source, {}});
        popover_->setDidClose([this] { ++closings_; });
    }

    void open() {
        popover_->show(anchor_);
        ASSERT_TRUE(popover_->isShown());
        ASSERT_TRUE(test::runUntil([this] {
            return popover_->window()->isExposed() && holder()->opacity() == 1 &&
                   popover_->window()->opacity() == 1 && popover_->window()->isActive();
        }));
    }
    bool closes() {
        return test::runUntil([this] { return !popover_->isShown(); }, std::chrono::seconds(3));
    }
    void awaitOpen(std::chrono::milliseconds time) {
        test::runUntil([this] { return !popover_->isShown(); }, time);
        EXPECT_TRUE(popover_->isShown());
    }

    QQuickItem* view() const { return holder()->childItems().constFirst(); }
    QQuickItem* holder() const { return popover_->window()->contentItem()->childItems().at(1); }

    TemporaryFolder folder_;
    std::unique_ptr<X11Connection> connection_;
    X11TransientWindows windows_;
    test::PointerInjector pointer_;
    audition::KeyInjector keys_;
    std::unique_ptr<QQmlEngine> engine_;
    std::unique_ptr<QuickPopover> popover_;
    QRect anchor_{600, 4, 24, 24};
    int closings_ = 0;
};

TEST_F(PopoverTest, NothingOfTheViewIsMadeBeforeTheFirstOpeningAndItIsKeptAfter) {
    make();
    EXPECT_EQ(engine_, nullptr);
    open();
    const QQuickItem* first = view();
    popover_->close();
    ASSERT_TRUE(closes());
    open();
    EXPECT_EQ(view(), first);
}

TEST_F(PopoverTest, ItAppearsBelowItsAnchorInsideTheScreenAtItsFullSize) {
    make();
    open();
    EXPECT_EQ(popover_->window()->geometry(), QRect(451, 32, 320, 400));
    popover_->close();
    ASSERT_TRUE(closes());
    anchor_ = QRect(1256, 774, 22, 22);
    open();
    EXPECT_TRUE(QRect(0, 0, 1280, 800).contains(popover_->window()->geometry()));
    EXPECT_LT(popover_->window()->geometry().bottom(), anchor_.top());
}

TEST_F(PopoverTest, ItHasTheKeyboardWhileItIsShownAndGivesItBack) {
    OtherWindow other({50, 50, 200, 200});
    make();
    open();
    EXPECT_FALSE(other.focused);
    keys_.press(XKB_KEY_a);
    keys_.release(XKB_KEY_a);
    EXPECT_TRUE(test::runUntil([this] { return view()->property("keys").toInt() == 1; }));
    keys_.press(XKB_KEY_Escape);
    keys_.release(XKB_KEY_Escape);
    ASSERT_TRUE(closes());
    EXPECT_TRUE(test::runUntil([&other] { return other.focused; }));
}

TEST_F(PopoverTest, EscapeClosesItOnce) {
    make();
    open();
    keys_.press(XKB_KEY_Escape);
    keys_.release(XKB_KEY_Escape);
    ASSERT_TRUE(closes());
    EXPECT_EQ(closings_, 1);
    EXPECT_FALSE(popover_->window()->isVisible());
}

TEST_F(PopoverTest, AClickOnTheDesktopClosesIt) {
    make();
    open();
    pointer_.click(5, 790);
    ASSERT_TRUE(closes());
    EXPECT_EQ(closings_, 1);
}

TEST_F(PopoverTest, AClickOnAnotherClientsWindowClosesItAndReachesThatWindow) {
    OtherWindow other({50, 500, 200, 200});
    make();
    open();
    pointer_.click(150, 620);
    ASSERT_TRUE(closes());
    EXPECT_TRUE(test::runUntil([&other] { return other.presses == 1; }));
}

TEST_F(PopoverTest, AClickInsideIsTheContents) {
    make();
    open();
    pointer_.click(600, 200);
    EXPECT_TRUE(test::runUntil([this] { return view()->property("clicks").toInt() == 1; }));
    awaitOpen(std::chrono::milliseconds(300));
}

TEST_F(PopoverTest, APressInsideThatLeavesAtOnceIsTheContents) {
    make();
    open();
    pointer_.move(600, 200);
    pointer_.press();
    pointer_.move(50, 700);
    pointer_.release();
    awaitOpen(std::chrono::milliseconds(400));
    pointer_.click(50, 700);
    ASSERT_TRUE(closes());
}

TEST_F(PopoverTest, TheWheelOutsideDoesNotCloseIt) {
    OtherWindow other({50, 500, 200, 200});
    make();
    open();
    pointer_.click(150, 620, 4);
    EXPECT_TRUE(test::runUntil([&other] { return other.presses == 1; }));
    awaitOpen(std::chrono::milliseconds(300));
}

TEST_F(PopoverTest, ItHasClosedOnlyWhenTheButtonIsUpAgain) {
    make();
    open();
    pointer_.move(5, 790);
    pointer_.press();
    awaitOpen(std::chrono::milliseconds(500));
    EXPECT_EQ(closings_, 0);
    pointer_.release();
    ASSERT_TRUE(closes());
    EXPECT_EQ(closings_, 1);
}

TEST_F(PopoverTest, AButtonHeldInItsContentDoesNotKeepItFromClosing) {
    make();
    open();
    pointer_.move(600, 200);
    pointer_.press();
    keys_.press(XKB_KEY_Escape);
    keys_.release(XKB_KEY_Escape);
    EXPECT_TRUE(closes());
    pointer_.release();
    EXPECT_EQ(closings_, 1);
}

TEST_F(PopoverTest, ItClosesWhenTheKeyboardGoesElsewhere) {
    make();
    open();
    OtherWindow other({50, 500, 200, 200}); // takes the keyboard
    ASSERT_TRUE(closes());
    EXPECT_TRUE(other.focused);
}

// A grabbed shortcut takes the keyboard for as long as its key is down.
TEST_F(PopoverTest, ASystemWideShortcutLeavesItOpen) {
    auto other = X11Connection::open();
    xcb_grab_key(other->handle(), 0, other->root(), XCB_MOD_MASK_CONTROL, 58, XCB_GRAB_MODE_ASYNC,
                 XCB_GRAB_MODE_ASYNC);
    int presses = 0;
    const auto counting = other->observe([&presses](const xcb_generic_event_t& event) {
        presses += (event.response_type & 0x7f) == XCB_KEY_PRESS ? 1 : 0;
    });
    xcb_flush(other->handle());
    make();
    open();
    keys_.press(XKB_KEY_Control_L);
    keys_.press(XKB_KEY_m);
    EXPECT_TRUE(test::runUntil([&presses] { return presses > 0; }));
    awaitOpen(std::chrono::milliseconds(400)); // held down: the other client has the keyboard
    keys_.release(XKB_KEY_m);
    keys_.release(XKB_KEY_Control_L);
    awaitOpen(std::chrono::milliseconds(300));
}

TEST_F(PopoverTest, ShownAgainWhileItClosesItStays) {
    make();
    open();
    popover_->close();
    popover_->show(anchor_);
    awaitOpen(std::chrono::milliseconds(400));
    EXPECT_EQ(closings_, 0);
    popover_->close();
    ASSERT_TRUE(closes());
    EXPECT_EQ(closings_, 1);
}

TEST_F(PopoverTest, ClosingTakesAMoment) {
    make();
    open();
    popover_->close();
    EXPECT_TRUE(popover_->isShown());
    popover_->close();
    ASSERT_TRUE(closes());
    EXPECT_EQ(closings_, 1);
}

TEST_F(PopoverTest, AsANormalWindowItIsFramedTitledAndStaysUntilEscape) {
    make();
    popover_->showAsWindow();
    ASSERT_TRUE(test::runUntil([this] { return popover_->window()->isActive(); }));
    EXPECT_EQ(popover_->window()->title(), "Fidget Drawer");
    EXPECT_GT(popover_->window()->frameMargins().top(), 0);
    pointer_.click(5, 790);
    awaitOpen(std::chrono::milliseconds(300));
    popover_->showAsWindow(); // comes to the front
    awaitOpen(std::chrono::milliseconds(300));
    keys_.press(XKB_KEY_Escape);
    keys_.release(XKB_KEY_Escape);
    ASSERT_TRUE(closes());
    open(); // and a popover again
    EXPECT_EQ(popover_->window()->frameMargins().top(), 0);
}

TEST_F(PopoverTest, TheWindowsCloseButtonClosesIt) {
    make();
    popover_->showAsWindow();
    ASSERT_TRUE(test::runUntil([this] { return popover_->window()->isActive(); }));
    popover_->window()->close();
    ASSERT_TRUE(closes());
    EXPECT_EQ(closings_, 1);
    EXPECT_FALSE(popover_->window()->isVisible());
}

TEST_F(PopoverTest, WithoutACompositorItHasAPlainBorder) {
    make("import QtQuick\nItem {}\n");
    open();
    const QImage image = popover_->window()->grabWindow();
    ASSERT_EQ(image.size(), QSize(320, 400));
    EXPECT_NE(image.pixelColor(0, 0), image.pixelColor(1, 1));
    EXPECT_EQ(image.pixelColor(160, 0), image.pixelColor(0, 200));
    EXPECT_EQ(image.pixelColor(1, 1), image.pixelColor(160, 200));
}

TEST_F(PopoverTest, UnderACompositorItIsRoundedInASoftShadowThatLetsClicksThrough) {
    test::ChildProcess compositor(
        {{"picom", "--backend", "xrender", "--config", "/dev/null"}, {}, "/dev/null", {}});
    ASSERT_TRUE(test::runUntil([this] {
        QCoreApplication::processEvents();
        return windows_.composites();
    }));
    make("import QtQuick\nItem {}\n");
    open();
    EXPECT_EQ(popover_->window()->geometry(), QRect(431, 12, 360, 440));
    const QImage image = popover_->window()->grabWindow();
    EXPECT_EQ(image.pixelColor(0, 0).alpha(), 0);
    EXPECT_EQ(image.pixelColor(180, 200).alpha(), 255);
    const int nearSheet = image.pixelColor(180, 424).alpha();
    EXPECT_GT(nearSheet, 10);
    EXPECT_LT(nearSheet, 128);
    EXPECT_LT(image.pixelColor(180, 436).alpha(), nearSheet);
    EXPECT_LT(image.pixelColor(21, 21).alpha(), 128); // the corner

    pointer_.click(445, 200); // in the shadow
    ASSERT_TRUE(closes());
}

TEST_F(PopoverTest, AViewThatCannotBeLoadedShowsNothing) {
    make("import Nowhere 1.0\nItem {}\n");
    popover_->show(anchor_);
    EXPECT_FALSE(popover_->isShown());
    popover_->showAsWindow();
    EXPECT_FALSE(popover_->isShown());
}

TEST_F(PopoverTest, OneThatIsShownCanGo) {
    make();
    open();
    popover_.reset();
    EXPECT_EQ(closings_, 0);
}

} // namespace

int testMain(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (testing::GTEST_FLAG(list_tests))
        return RUN_ALL_TESTS();
    const test::XServer server;
    qputenv("DISPLAY", server.display().c_str());
    qputenv("QT_QPA_PLATFORM", "xcb");
    qputenv("DBUS_SESSION_BUS_ADDRESS", test::noBus);
    qputenv("QT_QUICK_BACKEND", "software");
    // Without rules of its own it would begin with a window that says so.
    const TemporaryFolder folder;
    qputenv("QML_DISK_CACHE_PATH", folder.path().c_str());
    const auto rules = folder.file("openbox.xml", "<openbox_config></openbox_config>");
    test::ChildProcess windowManager(
        {{"openbox", "--config-file", rules.string()}, {}, "/dev/null", {}});
    test::awaitWindowManager(server.display(), windowManager);
    QGuiApplication application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    return RUN_ALL_TESTS();
}

} // namespace morvel

int main(int argc, char** argv) {
    return morvel::testMain(argc, argv);
}
