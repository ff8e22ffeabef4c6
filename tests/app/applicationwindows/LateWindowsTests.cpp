#include "app/applicationwindows/LateWindows.h"
#include "tests/app/applicationwindows/SystemAround.h"
#include "tests/app/statusitem/SimulatedPopover.h"

#include <gtest/gtest.h>

#include <vector>

namespace morvel::test {
namespace {

struct Shown {
    int permission = 0;
    int permissionClosings = 0;
    int settings = 0;
    int ownSettings = 0;
    std::vector<HelpPage> help;
    SimulatedPopover::State drawer;
};

class SimulatedSettingsWindow : public SettingsWindow {
public:
    explicit SimulatedSettingsWindow(Shown& shown)
        : shown_(shown) {}

    void show() override { ++shown_.ownSettings; }
    int moduleRowCount() override { return 2; }

private:
    Shown& shown_;
};

class SimulatedWindows : public ApplicationWindows, public PermissionWindow {
public:
    explicit SimulatedWindows(Shown& shown)
        : shown_(shown) {}

    PermissionWindow& permissionWindow() override { return *this; }
    void show(AccessibilityPermission&) override { ++shown_.permission; }
    void close() override { ++shown_.permissionClosings; }
    void showSettings() override { ++shown_.settings; }
    void showHelp(const HelpPage& page) override { shown_.help.push_back(page); }
    std::unique_ptr<SettingsWindow> makeSettingsWindow() override {
        return std::make_unique<SimulatedSettingsWindow>(shown_);
    }
    std::unique_ptr<Popover> makeDrawer() override {
        return std::make_unique<SimulatedPopover>(shown_.drawer);
    }

private:
    Shown& shown_;
};

class LateWindowsTest : public testing::Test {
protected:
    SystemAround around;
    Shown shown;
    int made = 0;
    bool makeable = true;
    LateWindows windows{[this]() -> std::unique_ptr<ApplicationWindows> {
        ++made;
        return makeable ? std::make_unique<SimulatedWindows>(shown) : nullptr;
    }};
};

TEST_F(LateWindowsTest, NothingIsMadeBeforeSomethingIsShown) {
    const auto drawer = windows.makeDrawer();
    drawer->setDidClose([] {});
    EXPECT_FALSE(drawer->isShown());
    drawer->close();
    windows.close();
    EXPECT_EQ(made, 0);
}

TEST_F(LateWindowsTest, AllWindowsAreMadeOnceByTheFirstThatIsShown) {
    windows.showSettings();
    windows.showSettings();
    windows.show(around.permission);
    const auto drawer = windows.makeDrawer();
    drawer->show(std::nullopt);
    EXPECT_EQ(made, 1);
    EXPECT_EQ(shown.settings, 2);
    EXPECT_EQ(shown.permission, 1);
    windows.close();
    EXPECT_EQ(shown.permissionClosings, 1);
}

TEST_F(LateWindowsTest, AHelpPageMayBeTheFirstToBeShown) {
    const HelpPage page{"Title", "A sentence.", "a command"};
    windows.showHelp(page);
    EXPECT_EQ(made, 1);
    EXPECT_EQ(shown.help, std::vector{page});
}

TEST_F(LateWindowsTest, ClosingThePermissionWindowBeforeAnyWindowIsThereDoesNothing) {
    windows.close();
    windows.showSettings();
    EXPECT_EQ(shown.permissionClosings, 0);
}

TEST_F(LateWindowsTest, ASettingsWindowOfOnesOwnIsNotTheOneThatTheUserOpens) {
    const auto own = windows.makeSettingsWindow();
    ASSERT_TRUE(own);
    EXPECT_EQ(made, 1);
    own->show();
    EXPECT_EQ(shown.ownSettings, 1);
    EXPECT_EQ(shown.settings, 0);
}

TEST_F(LateWindowsTest, TheDrawerIsShownWhereAskedAndTellsWhenItHasClosed) {
    const auto drawer = windows.makeDrawer();
    int closings = 0;
    drawer->setDidClose([&] { ++closings; });
    drawer->show(QRect(1, 2, 3, 4));
    EXPECT_TRUE(drawer->isShown());
    EXPECT_EQ(shown.drawer.anchor, QRect(1, 2, 3, 4));
    drawer->close();
    EXPECT_EQ(shown.drawer.closeRequests, 1);
    shown.drawer.finishClosing();
    EXPECT_EQ(closings, 1);
    EXPECT_FALSE(drawer->isShown());
    drawer->setDidClose([&] { closings += 10; });
    drawer->showAsWindow();
    EXPECT_TRUE(shown.drawer.asWindow);
    shown.drawer.finishClosing();
    EXPECT_EQ(closings, 11);
}

TEST_F(LateWindowsTest, WindowsThatCannotBeMadeAreTriedOnceAndNotShown) {
    makeable = false;
    const auto drawer = windows.makeDrawer();
    drawer->setDidClose([] {});
    drawer->show(std::nullopt);
    drawer->showAsWindow();
    drawer->close();
    windows.showSettings();
    windows.showHelp({"Title", "A sentence.", ""});
    windows.show(around.permission);
    windows.close();
    EXPECT_EQ(windows.makeSettingsWindow(), nullptr);
    EXPECT_FALSE(drawer->isShown());
    EXPECT_EQ(made, 1);
}

} // namespace
} // namespace morvel::test
