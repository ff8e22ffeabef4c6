// The status item in a tray that is told of icons over the session bus (StatusNotifierItem).

#include "tests/platform/TraySession.h"

#include <QDBusInterface>
#include <QDBusMessage>

namespace morvel::test {
namespace {

using NotifierTrayTest = TrayTest;

TEST_F(NotifierTrayTest, WithoutATrayTheItemWaitsAndTakesItsPlaceWhenOneAppears) {
    makeItem();
    EXPECT_FALSE(item_->isInBar());
    session().startNotifierPanel();
    ASSERT_TRUE(appears());
    EXPECT_EQ(watch_.kind(), TrayKind::statusNotifier);
    EXPECT_FALSE(item_->frame()); // nobody says where it is
    click();
    ASSERT_TRUE(seen([this] { return clicks_.size() == 1; }));
    EXPECT_FALSE(clicks_[0].secondary || clicks_[0].optionHeld);
    const auto frame = item_->frame();
    ASSERT_TRUE(frame);
    EXPECT_TRUE(QRect(frame->x, frame->y, frame->width, frame->height)
                    .contains(TraySession::iconPlace().center()));
}

TEST_F(NotifierTrayTest, ThePanelMayBeRestarted) {
    session().startNotifierPanel();
    makeItem();
    ASSERT_TRUE(appears());
    session().stopPanel();
    EXPECT_TRUE(seen([this] { return !item_->isInBar(); }));
    session().startNotifierPanel();
    ASSERT_TRUE(appears());
    click();
    EXPECT_TRUE(seen([this] { return clicks_.size() == 1; }));
}

// As some tell the second of two quick ones.
TEST_F(NotifierTrayTest, AClickThatThePanelTellsTwiceIsOne) {
    session().startNotifierPanel();
    makeItem();
    ASSERT_TRUE(appears());
    QDBusConnection panel = QDBusConnection::connectToBus(QDBusConnection::SessionBus, "panel");
    const QDBusInterface watcher("org.kde.StatusNotifierWatcher", "/StatusNotifierWatcher",
                                 "org.kde.StatusNotifierWatcher", panel);
    const QStringList items = watcher.property("RegisteredStatusNotifierItems").toStringList();
    ASSERT_EQ(items.size(), 1);
    const QString service = items.first().section('/', 0, 0);
    QDBusMessage activate = QDBusMessage::createMethodCall(
        service, "/StatusNotifierItem", "org.kde.StatusNotifierItem", "Activate");
    activate << 1 << 1;
    const auto tellTwice = [&] {
        panel.asyncCall(activate);
        panel.asyncCall(activate);
    };
    tellTwice();
    ASSERT_TRUE(seen([this] { return clicks_.size() == 1; }));
    QElapsedTimer since;
    since.start();
    seen([&since] { return since.elapsed() > 80; });
    tellTwice();
    EXPECT_TRUE(seen([this] { return clicks_.size() == 2; }));
    since.start();
    seen([&since] { return since.elapsed() > 80; });
    EXPECT_EQ(clicks_.size(), 2U);
    QDBusConnection::disconnectFromBus("panel");
}

TEST_F(NotifierTrayTest, AClickWithAltIsToldWithOptionHeldAndTheMenuCanOpen) {
    session().startNotifierPanel();
    makeItem();
    ASSERT_TRUE(appears());
    keys_.press(XKB_KEY_Alt_L);
    click();
    const bool told = seen([this] { return clicks_.size() == 1; });
    keys_.release(XKB_KEY_Alt_L);
    ASSERT_TRUE(told);
    EXPECT_TRUE(clicks_[0].optionHeld);
    item_->popUpMenu();
    ASSERT_TRUE(seen([] { return openMenu() != nullptr && openMenu()->isVisible(); }));
    type(XKB_KEY_Escape);
    EXPECT_TRUE(seen([] { return openMenu() == nullptr; }));
}

TEST_F(NotifierTrayTest, ARightClickOpensTheMenuThatThePanelDraws) {
    session().startNotifierPanel();
    makeItem();
    ASSERT_TRUE(appears());
    click(3);
    // The panel's menu has the keyboard; its first item is the mute item.
    ASSERT_TRUE(seen([] { return TraySession::isCovered({1260, TraySession::panelHeight + 10}); }));
    type(XKB_KEY_Down);
    type(XKB_KEY_Return);
    ASSERT_TRUE(seen([this] { return !chosen_.empty(); }));
    EXPECT_EQ(chosen_, "mute ");
    EXPECT_TRUE(clicks_.empty());
}

TEST_F(NotifierTrayTest, TheSymbolStandsOutFromThePanel) {
    session().startNotifierPanel();
    makeItem();
    ASSERT_TRUE(appears());
    EXPECT_TRUE(seen([] { return TraySession::iconLightness() < 90; })); // a light panel
}

} // namespace
} // namespace morvel::test

int main(int argc, char** argv) {
    return morvel::test::runTrayTests(argc, argv, true);
}
