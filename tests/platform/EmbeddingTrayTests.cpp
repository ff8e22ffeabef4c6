// The status item in a tray of windows (XEmbed), on a desktop without a session bus.

#include "tests/platform/TraySession.h"

namespace morvel::test {
namespace {

using EmbeddingTrayTest = TrayTest;

TEST_F(EmbeddingTrayTest, WithoutATrayTheItemWaitsAndTakesItsPlaceWhenOneAppears) {
    makeItem();
    EXPECT_TRUE(item_->hasButton());
    EXPECT_FALSE(item_->isInBar());
    EXPECT_FALSE(item_->frame());
    session().startEmbeddingPanel();
    EXPECT_TRUE(appears());
    EXPECT_EQ(barChanges_, 1);
}

TEST_F(EmbeddingTrayTest, ThePanelMayBeRestarted) {
    session().startEmbeddingPanel();
    makeItem();
    ASSERT_TRUE(appears());
    session().stopPanel();
    EXPECT_TRUE(seen([this] { return !item_->isInBar(); }));
    session().startEmbeddingPanel();
    ASSERT_TRUE(appears());
    click();
    EXPECT_TRUE(seen([this] { return clicks_.size() == 1; }));
}

TEST_F(EmbeddingTrayTest, AClickIsToldWithTheItemsPlace) {
    session().startEmbeddingPanel();
    makeItem();
    ASSERT_TRUE(appears());
    click();
    ASSERT_TRUE(seen([this] { return clicks_.size() == 1; }));
    EXPECT_FALSE(clicks_[0].secondary || clicks_[0].optionHeld);
    const auto frame = item_->frame();
    ASSERT_TRUE(frame);
    EXPECT_TRUE(QRect(frame->x, frame->y, frame->width, frame->height)
                    .contains(TraySession::iconPlace().center()));
}

TEST_F(EmbeddingTrayTest, TwoQuickClicksAreTwoClicks) {
    session().startEmbeddingPanel();
    makeItem();
    ASSERT_TRUE(appears());
    click();
    click();
    EXPECT_TRUE(seen([this] { return clicks_.size() == 2; }));
    EXPECT_EQ(openMenu(), nullptr);
}

TEST_F(EmbeddingTrayTest, ARightClickIsToldAsSecondaryAndOpensNoMenuByItself) {
    session().startEmbeddingPanel();
    makeItem();
    ASSERT_TRUE(appears());
    click(3);
    ASSERT_TRUE(seen([this] { return clicks_.size() == 1; }));
    EXPECT_TRUE(clicks_[0].secondary);
    EXPECT_EQ(openMenu(), nullptr);
}

TEST_F(EmbeddingTrayTest, AClickWithAltIsToldWithOptionHeld) {
    session().startEmbeddingPanel();
    makeItem();
    ASSERT_TRUE(appears());
    keys_.press(XKB_KEY_Alt_L);
    click();
    const bool told = seen([this] { return clicks_.size() == 1; });
    keys_.release(XKB_KEY_Alt_L);
    ASSERT_TRUE(told);
    EXPECT_TRUE(clicks_[0].optionHeld);
    EXPECT_FALSE(clicks_[0].secondary);
}

TEST_F(EmbeddingTrayTest, TheMenuOpensBesideTheItemAndClosesOnEscape) {
    session().startEmbeddingPanel();
    makeItem();
    ASSERT_TRUE(appears());
    item_->popUpMenu();
    ASSERT_TRUE(seen([] { return openMenu() != nullptr && openMenu()->isVisible(); }));
    EXPECT_GE(openMenu()->geometry().top(), TraySession::panelHeight - 4);
    type(XKB_KEY_Escape);
    EXPECT_TRUE(seen([] { return openMenu() == nullptr; }));
    EXPECT_EQ(chosen_, "");
}

TEST_F(EmbeddingTrayTest, AMenuItemIsChosenByItsKeyEquivalent) {
    session().startEmbeddingPanel();
    makeItem();
    ASSERT_TRUE(appears());
    item_->popUpMenu();
    ASSERT_TRUE(seen([] { return openMenu() != nullptr && openMenu()->isVisible(); }));
    type(XKB_KEY_q);
    EXPECT_TRUE(seen([this] { return chosen_ == "quit "; }));
    EXPECT_EQ(openMenu(), nullptr);
}

TEST_F(EmbeddingTrayTest, AMenuThatChangesKeepsItsItemsAndShowsTheMark) {
    session().startEmbeddingPanel();
    makeItem();
    item_->setMenu(
        {{.title = "Unmute", .action = [this] { chosen_ += "unmute "; }, .checked = true},
         {},
         {.title = "Quit Morvel"}});
    item_->popUpMenu();
    ASSERT_TRUE(seen([] { return openMenu() != nullptr && openMenu()->isVisible(); }));
    ASSERT_EQ(openMenu()->actions().size(), 3);
    QAction* mute = openMenu()->actions().constFirst();
    EXPECT_EQ(mute->text(), "Unmute");
    EXPECT_TRUE(mute->isCheckable() && mute->isChecked());
    mute->trigger();
    EXPECT_EQ(chosen_, "unmute ");
    openMenu()->close();
}

TEST_F(EmbeddingTrayTest, TheSymbolIsDarkOnALightPanelAndLightOnADarkOne) {
    session().startEmbeddingPanel("#f4f4f4");
    makeItem();
    ASSERT_TRUE(appears());
    EXPECT_TRUE(seen([] { return TraySession::iconLightness() < 90; }));
    session().stopPanel();
    ASSERT_TRUE(seen([this] { return !item_->isInBar(); }));
    session().startEmbeddingPanel("#202020");
    EXPECT_TRUE(seen([this] {
        return item_->isInBar() && !TraySession::iconPlace().isEmpty() &&
               TraySession::iconLightness() > 190;
    }));
}

TEST_F(EmbeddingTrayTest, AnItemThatGoesLeavesTheTray) {
    session().startEmbeddingPanel();
    makeItem();
    ASSERT_TRUE(appears());
    item_.reset();
    EXPECT_TRUE(seen([] { return TraySession::iconPlace().isEmpty(); }));
}

TEST_F(EmbeddingTrayTest, AnUnknownSymbolLeavesItWithoutAnImage) {
    session().startEmbeddingPanel();
    makeItem();
    ASSERT_TRUE(appears());
    item_->setImage("no.such.symbol", "");
    EXPECT_TRUE(seen([] { return TraySession::iconPlace().isEmpty(); }));
}

} // namespace
} // namespace morvel::test

int main(int argc, char** argv) {
    return morvel::test::runTrayTests(argc, argv, false);
}
