#include "tests/app/settingswindow/SettingsWindowFixture.h"
#include "tests/support/MainLoop.h"
#include "tests/support/QuickItems.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QWheelEvent>
#include <cmath>
#include <limits>

namespace morvel::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class SettingsWindowTest : public testing::Test, protected SettingsWindowFixture {
protected:
    QQuickView& open() {
        QQuickView& window = shown();
        EXPECT_TRUE(runUntil([&] { return window.isExposed() && window.isActive(); }));
        return window;
    }
    static QQuickItem* named(QQuickView& window, const QString& name) {
        for (const Spoken& element : spoken(window))
            if (element.name == name)
                return element.item;
        ADD_FAILURE() << "nothing is called " << name.toStdString();
        return nullptr;
    }
    static void scrollToEnd(QQuickView& window) { QTest::keyClick(&window, Qt::Key_End); }
};

TEST_F(SettingsWindowTest, HasItsTitleSizeAndLogLine) {
    QQuickView& window = shown();
    EXPECT_EQ(window.title(), "Morvel Settings");
    EXPECT_EQ(window.size(), QSize(460, 620));
    EXPECT_EQ(window.minimumSize(), window.maximumSize());
    EXPECT_EQ(log.lines().back(), "[Morvel] Settings window shown (frame=" +
                                      rectangleText(window.frameGeometry()) + ")");
}

TEST_F(SettingsWindowTest, RefreshesBeforeItIsShownAndAgainOnScreen) {
    service.current = LoginItemStatus::enabled;
    trust.trusted = true;
    controller.show();
    EXPECT_THAT(log.lines(), ElementsAre(StartsWith("[Morvel] Theme catalogue: 2 available"),
                                         "[Morvel] Accessibility trust changed -> TRUSTED",
                                         StartsWith("[Morvel] Theme catalogue: 2 available"),
                                         StartsWith("[Morvel] Settings window shown (frame={{")));
    EXPECT_TRUE(settings.launchAtLogin());
}

TEST_F(SettingsWindowTest, TheNextShowReusesTheWindowAndRefreshes) {
    QQuickView& window = open();
    EXPECT_TRUE(window.close());
    addTheme(user, "new", "New");
    service.current = LoginItemStatus::enabled;
    trust.trusted = true;
    log.clear();
    EXPECT_EQ(&open(), &window);
    EXPECT_TRUE(shows(window, "New"));
    EXPECT_TRUE(shows(window, "Access granted"));
    EXPECT_TRUE(settings.launchAtLogin());
    EXPECT_THAT(log.lines(), Not(Contains(StartsWith("[Morvel] Settings window shown"))));
}

TEST_F(SettingsWindowTest, AShortcutThatIsTheProgramsAloneNeedsNoWord) {
    QQuickView& window = open();
    scrollToEnd(window);
    EXPECT_EQ(visibleItem(window, "objectName", "shortcutStatus"), nullptr);
}

TEST_F(SettingsWindowTest, WhoListensForTheShortcutIsSaidAndFollowed) {
    using Way = HotKeyDelivery::Way;
    hotKeys.become({Way::asking, {}});
    QQuickView& window = open();
    scrollToEnd(window);
    EXPECT_TRUE(shows(window, "Mute shortcut: waiting for your desktop’s answer."));
    const auto becomes = [&](const HotKeyDelivery& delivery, const QString& text) {
        hotKeys.become(delivery);
        return runUntil([&] { return shows(window, text); });
    };
    EXPECT_TRUE(
        becomes({Way::deciding, {}}, "Mute shortcut: waiting for your answer to your desktop."));
    EXPECT_TRUE(becomes({Way::declined, {}},
                        "Mute shortcut: none, as you declined it. Your desktop is asked again when "
                        "Morvel is started again."));
    EXPECT_TRUE(becomes({Way::desktop, "Ctrl+<b>F9</b>"},
                        "Mute shortcut: your desktop listens for it, as Ctrl+<b>F9</b>."));
    EXPECT_TRUE(becomes({Way::desktop, {}}, "Mute shortcut: your desktop listens for it. Its "
                                            "keyboard settings say which keys it has."));
    EXPECT_TRUE(becomes({Way::keyboards, {}},
                        "Mute shortcut: Morvel watches the keyboard for it. The program in front "
                        "gets the keys, too."));
    EXPECT_TRUE(becomes({Way::none, {}}, "Mute shortcut: works as soon as Morvel can hear keys."));
}

TEST_F(SettingsWindowTest, WithoutAccessItShowsTheOrangeDotAndTheLongExplanation) {
    QQuickView& window = open();
    EXPECT_TRUE(shows(window, "Access required"));
    EXPECT_TRUE(shows(window, "Morvel cannot hear keys until Accessibility access is granted. The "
                              "fidget drawer still works."));
    EXPECT_EQ(colorAtCentre(window, *visibleItem(window, "objectName", "accessDot")),
              QColor(217, 111, 0));
    EXPECT_TRUE(shows(window, "Open System Settings…"));
}

TEST_F(SettingsWindowTest, GrantingAccessSwitchesItLiveAndTheButtonStays) {
    QQuickView& window = open();
    grant(true);
    EXPECT_TRUE(shows(window, "Access granted"));
    EXPECT_TRUE(shows(window, "Keyboard sounds are active."));
    EXPECT_FALSE(shows(window, "Access required"));
    EXPECT_EQ(colorAtCentre(window, *visibleItem(window, "objectName", "accessDot")),
              QColor(40, 167, 69));
    EXPECT_TRUE(shows(window, "Open System Settings…"));
}

TEST_F(SettingsWindowTest, OpenSystemSettingsOpensTheDesktopsPlaceOrAHelpPage) {
    QQuickView& window = open();
    QQuickItem* const button = visibleItem(window, "text", "Open System Settings…");
    click(window, *button);
    EXPECT_THAT(places.asked, ElementsAre("accessibility"));
    EXPECT_EQ(help.window(), nullptr);
    places.present = false;
    click(window, *button);
    ASSERT_NE(help.window(), nullptr);
    EXPECT_TRUE(help.window()->isVisible());
}

TEST_F(SettingsWindowTest, EachModuleHasASwitchThatChangesItsSetting) {
    QQuickView& window = open();
    click(window, *named(window, "Keyboard"));
    EXPECT_FALSE(settings.keyboardEnabled());
    EXPECT_TRUE(settings.fidgetEnabled());
    click(window, *named(window, "Fidget Drawer"));
    EXPECT_FALSE(settings.fidgetEnabled());
    click(window, *named(window, "Keyboard"));
    EXPECT_TRUE(settings.keyboardEnabled());
    settings.setFidgetEnabled(true);
    EXPECT_TRUE(named(window, "Fidget Drawer")->property("checked").toBool());
}

TEST_F(SettingsWindowTest, SwitchingAModuleOffDimsItsVolumeRowAndDisablesTheSlider) {
    QQuickView& window = open();
    QQuickItem* const row = visibleItem(window, "objectName", "Fidget Drawer volume row");
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->opacity(), 1.0);
    settings.setFidgetEnabled(false);
    EXPECT_EQ(row->opacity(), 0.45);
    EXPECT_FALSE(named(window, "Fidget Drawer volume")->isEnabled());
    EXPECT_TRUE(named(window, "Keyboard volume")->isEnabled());
    EXPECT_EQ(visibleItem(window, "objectName", "Keyboard volume row")->opacity(), 1.0);
}

TEST_F(SettingsWindowTest, ASliderAtAHalfShowsFiftyPercent) {
    QQuickView& window = open();
    settings.setKeyboardVolume(0.5F);
    EXPECT_EQ(named(window, "Keyboard volume")->property("value").toDouble(), 0.5);
    EXPECT_TRUE(shows(window, "50%"));
}

TEST_F(SettingsWindowTest, AVolumeBeyondTheSliderStaysAsItIsUntilTheUserMovesIt) {
    settings.setKeyboardVolume(1.5F);
    settings.setFidgetVolume(std::numeric_limits<float>::quiet_NaN());
    QQuickView& window = open();
    EXPECT_EQ(named(window, "Keyboard volume")->property("value").toDouble(), 1);
    EXPECT_EQ(named(window, "Fidget Drawer volume")->property("value").toDouble(), 0);
    EXPECT_EQ(settings.keyboardVolume(), 1.5F);
    EXPECT_TRUE(std::isnan(settings.fidgetVolume()));
    EXPECT_TRUE(shows(window, "150%"));
}

TEST_F(SettingsWindowTest, ThePercentageIsCutOffNotRounded) {
    const ModuleSettings keyboard(settings, SoundModule::keyboard);
    const auto at = [&](float volume) {
        settings.setKeyboardVolume(volume);
        return keyboard.percentage().toStdString();
    };
    EXPECT_EQ(at(0.999F), "99%");
    EXPECT_EQ(at(0.29F), "29%");
    EXPECT_EQ(at(0), "0%");
    EXPECT_EQ(at(1.5F), "150%");
    EXPECT_EQ(at(-0.2F), "-20%");
    EXPECT_EQ(at(std::numeric_limits<float>::quiet_NaN()), "0%");
    EXPECT_EQ(at(std::numeric_limits<float>::infinity()), "9999%");
}

TEST_F(SettingsWindowTest, TheMouseMovesASlider) {
    QQuickView& window = open();
    const QQuickItem& slider = *named(window, "Fidget Drawer volume");
    const QPoint middle = centreOf(slider);
    const QPoint start = slider.mapToScene({slider.width() - 9, slider.height() / 2}).toPoint();
    QTest::mousePress(&window, Qt::LeftButton, {}, start);
    QTest::mouseMove(&window, {(start.x() + middle.x()) / 2, middle.y()});
    QTest::mouseMove(&window, middle);
    EXPECT_NEAR(settings.fidgetVolume(), 0.5F, 0.03F); // live, before the release
    QTest::mouseRelease(&window, Qt::LeftButton, {}, middle);
    EXPECT_EQ(settings.keyboardVolume(), 1);
}

TEST_F(SettingsWindowTest, KeysMoveTheFocusedSlider) {
    QQuickView& window = open();
    settings.setKeyboardVolume(0.5F);
    named(window, "Keyboard volume")->forceActiveFocus(Qt::TabFocusReason);
    const auto after = [&](Qt::Key key) {
        QTest::keyClick(&window, key);
        return settings.keyboardVolume();
    };
    EXPECT_FLOAT_EQ(after(Qt::Key_Right), 0.55F);
    EXPECT_FLOAT_EQ(after(Qt::Key_Left), 0.5F);
    EXPECT_FLOAT_EQ(after(Qt::Key_Up), 0.55F);
    EXPECT_FLOAT_EQ(after(Qt::Key_Down), 0.5F);
    EXPECT_FLOAT_EQ(after(Qt::Key_PageUp), 0.7F);
    EXPECT_FLOAT_EQ(after(Qt::Key_PageDown), 0.5F);
    EXPECT_FLOAT_EQ(after(Qt::Key_End), 1);
    EXPECT_FLOAT_EQ(after(Qt::Key_Home), 0);
    EXPECT_FLOAT_EQ(after(Qt::Key_PageDown), 0);
}

TEST_F(SettingsWindowTest, AScreenReaderSetsAVolume) {
    QQuickView& window = open();
    QAccessibleInterface* const slider =
        QAccessible::queryAccessibleInterface(named(window, "Keyboard volume"));
    slider->valueInterface()->setCurrentValue(0.25);
    EXPECT_EQ(settings.keyboardVolume(), 0.25F);
}

TEST_F(SettingsWindowTest, AWheelTurnsTheFocusedSliderAndElseScrolls) {
    QQuickView& window = open();
    settings.setKeyboardVolume(0.5F);
    QQuickItem& slider = *named(window, "Keyboard volume");
    QQuickItem* const area = visibleItem(window, "interactive", false);
    ASSERT_NE(area, nullptr);
    const auto wheel = [&](int angle) {
        const QPointF at = centreOf(slider);
        QWheelEvent event(at, window.mapToGlobal(at), {}, {0, angle}, Qt::NoButton, {},
                          Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(&window, &event);
    };
    wheel(-120);
    EXPECT_EQ(settings.keyboardVolume(), 0.5F);
    EXPECT_EQ(area->property("contentY").toDouble(), 48);
    wheel(120);
    EXPECT_EQ(area->property("contentY").toDouble(), 0);
    slider.forceActiveFocus();
    wheel(120);
    EXPECT_GT(settings.keyboardVolume(), 0.5F);
    EXPECT_EQ(area->property("contentY").toDouble(), 0);
}

TEST_F(SettingsWindowTest, LaunchAtLoginFollowsItsSwitch) {
    QQuickView& window = open();
    scrollToEnd(window);
    EXPECT_TRUE(shows(window, "Morvel will not start automatically."));
    click(window, *named(window, "Launch at login"));
    EXPECT_TRUE(settings.launchAtLogin());
    EXPECT_EQ(service.registrations, 1);
    EXPECT_TRUE(runUntil([&] { return shows(window, "Morvel will start when you log in."); }));
    EXPECT_FALSE(shows(window, "Open Login Items…"));
    click(window, *named(window, "Launch at login"));
    EXPECT_EQ(service.unregistrations, 1);
    EXPECT_TRUE(runUntil([&] { return shows(window, "Morvel will not start automatically."); }));
}

TEST_F(SettingsWindowTest, ARefusedLaunchAtLoginSnapsTheSwitchBackAndOffersTheLoginItems) {
    service.afterRegistration = LoginItemStatus::requiresApproval;
    QQuickView& window = open();
    scrollToEnd(window);
    QQuickItem& toggle = *named(window, "Launch at login");
    click(window, toggle);
    EXPECT_FALSE(settings.launchAtLogin());
    EXPECT_FALSE(toggle.property("checked").toBool());
    EXPECT_TRUE(runUntil([&] { return shows(window, "Open Login Items…"); }));
    EXPECT_TRUE(shows(window, "Approval needed in System Settings > General > Login Items."));
    QQuickItem* const button = visibleItem(window, "text", "Open Login Items…");
    ASSERT_NE(button, nullptr);
    ASSERT_TRUE(runUntil([&] {
        scrollToEnd(window);
        return centreOf(*button).y() < window.height();
    }));
    click(window, *button);
    EXPECT_THAT(places.asked, ElementsAre("login items"));
}

TEST_F(SettingsWindowTest, ALoginItemThatIsNotFoundOffersTheLoginItems) {
    service.current = LoginItemStatus::notFound;
    QQuickView& window = open();
    EXPECT_TRUE(shows(window, "The login item could not be found."));
    EXPECT_TRUE(shows(window, "Open Login Items…"));
    service.current = LoginItemStatus::enabled;
    controller.show();
    EXPECT_FALSE(shows(window, "Open Login Items…"));
}

TEST(SettingsWindowElsewhereTest, LaunchAtLoginThatIsUnavailableIsDisabledAndSaysWhy) {
    SettingsWindowFixture fixture("/src/build");
    fixture.service.current = LoginItemStatus::requiresApproval;
    QQuickView& window = fixture.shown();
    EXPECT_FALSE(visibleItem(window, "text", "Launch at login")->isEnabled());
    EXPECT_TRUE(shows(window, "Unavailable — Morvel is running as a loose executable, not an .app "
                              "bundle. A distribution build can register itself."));
    EXPECT_FALSE(shows(window, "Open Login Items…"));
}

TEST_F(SettingsWindowTest, TabReachesEveryControlInReadingOrderAndScrollsToIt) {
    service.current = LoginItemStatus::requiresApproval;
    QQuickView& window = open();
    EXPECT_EQ(tabOrder(window),
              (QStringList{
                  "Access required, Open System Settings…", "Keyboard", "Keyboard volume",
                  "Fidget Drawer", "Fidget Drawer volume",
                  "Default, Built-in, by Morvel, 24 of 32 categories, 8 inherited from Default",
                  "Mechanical, Built-in, by Morvel, 24 of 32 categories, 8 inherited from Default",
                  "Rescan", "Reveal Themes Folder", "Launch at login", "Open Login Items…"}));
    QTest::keyClick(&window, Qt::Key_Backtab);
    QQuickItem* const last = window.activeFocusItem();
    EXPECT_EQ(last->property("text"), "Open Login Items…");
    EXPECT_TRUE(QRectF(0, 0, 460, 620).contains(centreOf(*last)));
    EXPECT_TRUE(last->property("visualFocus").toBool());
}

TEST_F(SettingsWindowTest, AScreenReaderFindsEverythingInReadingOrder) {
    QQuickView& window = open();
    std::vector<std::pair<QAccessible::Role, std::string>> heard;
    for (const Spoken& element : spoken(window))
        heard.emplace_back(element.role, element.name.left(28).toStdString());
    using Role = QAccessible::Role;
    EXPECT_THAT(
        heard,
        ElementsAre(
            std::pair(Role::Heading, "Accessibility"),
            std::pair(Role::Button, "Access required, Open System"),
            std::pair(Role::StaticText, "Morvel cannot hear keys unti"),
            std::pair(Role::Heading, "Modules"), std::pair(Role::CheckBox, "Keyboard"),
            std::pair(Role::Slider, "Keyboard volume"), std::pair(Role::StaticText, "100%"),
            std::pair(Role::CheckBox, "Fidget Drawer"),
            std::pair(Role::Slider, "Fidget Drawer volume"), std::pair(Role::StaticText, "100%"),
            std::pair(Role::StaticText, "Sound output: Offline, 128 f"),
            std::pair(Role::Heading, "Theme"),
            std::pair(Role::StaticText, "One theme applies to every m"),
            std::pair(Role::List, "Themes"),
            std::pair(Role::Button, "Default, Built-in, by Morvel"),
            std::pair(Role::Button, "Mechanical, Built-in, by Mor"),
            std::pair(Role::Button, "Rescan"), std::pair(Role::Button, "Reveal Themes Folder"),
            std::pair(Role::StaticText, "Drop a theme folder into the"),
            std::pair(Role::Heading, "General"), std::pair(Role::CheckBox, "Launch at login"),
            std::pair(Role::StaticText, "Morvel will not start automa")));
}

TEST_F(SettingsWindowTest, TellsWhereTheSoundGoesAndKeepsUp) {
    output.setServerName("PipeWire");
    QQuickView& window = open();
    EXPECT_TRUE(shows(window, "PipeWire, 128 frames (2.9 ms)"));
    output.lose("no server");
    EXPECT_TRUE(runUntil([&] { return shows(window, "No sound output. Morvel keeps trying."); }));
    output.comeBack();
    EXPECT_TRUE(runUntil([&] { return shows(window, "PipeWire, 128 frames (2.9 ms)"); }));
    output.pause();
    window.close();
    open();
    EXPECT_TRUE(shows(window, "PipeWire, 128 frames (2.9 ms)")) << "it only rests";
}

TEST_F(SettingsWindowTest, KeysScrollWhereNoControlWantsThem) {
    QQuickView& window = open();
    QQuickItem* const area = visibleItem(window, "interactive", false);
    const auto position = [&] { return area->property("contentY").toDouble(); };
    QTest::keyClick(&window, Qt::Key_End);
    const double end = area->property("contentHeight").toDouble() - area->height();
    EXPECT_EQ(position(), end);
    QTest::keyClick(&window, Qt::Key_Home);
    EXPECT_EQ(position(), 0);
    QTest::keyClick(&window, Qt::Key_Down);
    EXPECT_GT(position(), 0);
    QTest::keyClick(&window, Qt::Key_Up);
    EXPECT_EQ(position(), 0);
}

} // namespace
} // namespace morvel::test
