#include "tests/app/statusitem/StatusItemDesktop.h"

namespace morvel::test {
namespace {

using EmbeddedStatusItemTest = StatusItemDesktopTest;

TEST_F(EmbeddedStatusItemTest, ClicksOpenTheDrawerUnderTheItemAndCloseItWithoutReopening) {
    session().startEmbeddingPanel();
    openAndCloseByClicks();
}

TEST_F(EmbeddedStatusItemTest, ARightClickOpensTheMenuAndALeftClickAfterItTheDrawer) {
    session().startEmbeddingPanel();
    ASSERT_TRUE(iconAppears());
    click(3);
    ASSERT_TRUE(seen([] { return openMenu() != nullptr && openMenu()->isVisible(); }));
    QStringList titles;
    for (const QAction* action : openMenu()->actions())
        titles.push_back(action->text());
    EXPECT_EQ(titles,
              (QStringList{"Mute", "Global shortcut: ⌃⌥⌘M", "", "Settings…", "", "Quit Morvel"}));
    type(XKB_KEY_Escape);
    ASSERT_TRUE(seen([] { return openMenu() == nullptr; }));
    click();
    EXPECT_TRUE(opens());
}

TEST_F(EmbeddedStatusItemTest, TheShortcutMutesWhileTheDrawerIsOpenAndLeavesItOpen) {
    session().startEmbeddingPanel();
    ASSERT_TRUE(iconAppears());
    click();
    ASSERT_TRUE(opens());
    pause();
    for (const xkb_keysym_t key : {XKB_KEY_Control_L, XKB_KEY_Alt_L, XKB_KEY_Super_L, XKB_KEY_m})
        keys_.press(key);
    for (const xkb_keysym_t key : {XKB_KEY_m, XKB_KEY_Super_L, XKB_KEY_Alt_L, XKB_KEY_Control_L})
        keys_.release(key);
    EXPECT_TRUE(seen([this] { return settings_.isMuted(); }));
    EXPECT_TRUE(seen([this] { return controller_->currentIconSymbolName() == "dial.medium"; }));
    pause();
    EXPECT_TRUE(controller_->isPopoverShown());
}

TEST_F(EmbeddedStatusItemTest, WithoutATrayASecondStartOpensANormalWindow) {
    controller_->openDrawer();
    ASSERT_TRUE(opens());
    EXPECT_GT(QGuiApplication::focusWindow()->frameMargins().top(), 0);
    QGuiApplication::focusWindow()->close();
    ASSERT_TRUE(closes());
    session().startEmbeddingPanel();
    ASSERT_TRUE(iconAppears());
    pause();
    click();
    ASSERT_TRUE(opens());
    EXPECT_EQ(QGuiApplication::focusWindow()->frameMargins().top(), 0);
}

} // namespace
} // namespace morvel::test

int main(int argc, char** argv) {
    return morvel::test::runTrayTests(argc, argv, false);
}
