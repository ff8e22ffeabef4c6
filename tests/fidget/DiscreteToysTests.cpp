#include "fidget/ClickyButton.h"
#include "fidget/PopGrid.h"
#include "fidget/ToggleSwitch.h"
#include "tests/fidget/FidgetFixture.h"

namespace morvel {
namespace {

using test::Categories;

class DiscreteToysTest : public test::FidgetTest {
protected:
    FidgetSound sound{settings, audio};
    ToggleSwitch toggle{sound};
    ClickyButton button{sound};
    PopGrid grid{sound};
};

TEST_F(DiscreteToysTest, TwoTapsOnTheSwitchSoundOnThenOffAndLeaveItOff) {
    toggle.tap();
    EXPECT_TRUE(toggle.isOn());
    toggle.tap();
    EXPECT_FALSE(toggle.isOn());
    EXPECT_EQ(played(), (Categories{SoundCategory::toggleOn, SoundCategory::toggleOff}));
}

TEST_F(DiscreteToysTest, ADragOnTheButtonSoundsOnceDownAndOnceUp) {
    button.dragChanged();
    EXPECT_TRUE(button.isPressed());
    for (int i = 0; i < 10; ++i)
        button.dragChanged();
    EXPECT_EQ(played(), Categories{SoundCategory::buttonDown});
    button.dragEnded();
    EXPECT_FALSE(button.isPressed());
    button.dragEnded();
    EXPECT_EQ(played(), Categories{SoundCategory::buttonUp});
}

TEST_F(DiscreteToysTest, TheSameBubblePopsOnce) {
    grid.tap(7);
    grid.tap(7);
    EXPECT_TRUE(grid.isPopped(7));
    EXPECT_FALSE(grid.isPopped(8));
    EXPECT_EQ(played(), Categories{SoundCategory::pop});
}

TEST_F(DiscreteToysTest, AllTwentyBubblesPopAndStayPopped) {
    for (int i = 0; i < 20; ++i)
        grid.tap(i);
    EXPECT_EQ(played(), Categories(20, SoundCategory::pop)) << "and no refill";
    for (int i = 0; i < 20; ++i)
        EXPECT_TRUE(grid.isPopped(i));
}

TEST_F(DiscreteToysTest, ResetEmptiesTheGridOnceSomethingIsPopped) {
    EXPECT_FALSE(grid.canReset());
    grid.reset();
    EXPECT_EQ(played(), Categories{});
    grid.tap(0);
    grid.tap(19);
    EXPECT_TRUE(grid.canReset());
    played();
    grid.reset();
    EXPECT_EQ(played(), Categories{SoundCategory::popReset});
    EXPECT_FALSE(grid.canReset());
    EXPECT_FALSE(grid.isPopped(0));
    grid.reset();
    EXPECT_EQ(played(), Categories{});
}

TEST_F(DiscreteToysTest, ABubbleThatThereIsNotDoesNotPop) {
    for (const int index : {-1, 20, 1000000})
        grid.tap(index);
    EXPECT_FALSE(grid.canReset());
    EXPECT_EQ(played(), Categories{});
}

TEST_F(DiscreteToysTest, TheToysMoveInSilenceWhileTheModuleIsOff) {
    settings.setFidgetEnabled(false);
    toggle.tap();
    button.dragChanged();
    grid.tap(3);
    EXPECT_TRUE(toggle.isOn());
    EXPECT_TRUE(button.isPressed());
    EXPECT_TRUE(grid.isPopped(3));
    EXPECT_EQ(played(), Categories{});
}

} // namespace
} // namespace morvel
