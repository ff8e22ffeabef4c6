#include "tests/app/permissionwindow/PermissionWindowFixture.h"
#include "tests/support/MainLoop.h"
#include "tests/support/QuickItems.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace morvel::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

constexpr const char* neededText =
    "Morvel plays sound in response to your keyboard anywhere on the system. To see those events "
    "outside its own windows, Linux requires Accessibility access.\n\nWithout it, the Keyboard "
    "module stays silent. The Fidget Drawer works either way.";
constexpr const char* grantedText =
    "Morvel can now observe keyboard events system-wide. The Keyboard module is ready to use.";

QQuickView& open(PermissionWindowFixture& fixture) {
    QQuickView& window = fixture.shown();
    EXPECT_TRUE(runUntil([&] { return window.isExposed() && window.isActive(); }));
    return window;
}

bool showsDevelopmentNote(QQuickView& window) {
    return visibleItem(window, "objectName", "developmentNote") != nullptr;
}

TEST(PermissionWindowTest, ThereIsNoWindowBeforeItIsShown) {
    const PermissionWindowFixture fixture;
    EXPECT_EQ(fixture.controller.window(), nullptr);
    EXPECT_TRUE(fixture.log.lines().empty());
}

TEST(PermissionWindowTest, HasItsTitleSizeAndLogLine) {
    PermissionWindowFixture fixture;
    QQuickView& window = fixture.shown();
    EXPECT_EQ(window.title(), "Morvel");
    EXPECT_EQ(window.size(), QSize(420, 400));
    EXPECT_EQ(window.minimumSize(), window.maximumSize());
    EXPECT_THAT(fixture.log.lines(), ElementsAre("[Morvel] Onboarding window shown (frame=" +
                                                 rectangleText(window.frameGeometry()) + ")"));
}

TEST(PermissionWindowTest, ShowingTwiceMakesOneWindowAndBringsItToTheFrontTheSecondTime) {
    PermissionWindowFixture fixture;
    QQuickView& window = open(fixture);
    QWindow other;
    other.show();
    other.requestActivate();
    ASSERT_TRUE(runUntil([&] { return other.isActive(); }));

    EXPECT_EQ(&open(fixture), &window);
    EXPECT_EQ(fixture.log.lines().size(), 1U);
}

TEST(PermissionWindowTest, ClosingKeepsTheWindowForTheNextTime) {
    PermissionWindowFixture fixture;
    QQuickView& window = open(fixture);
    EXPECT_TRUE(window.close());
    EXPECT_FALSE(window.isVisible());
    EXPECT_EQ(&open(fixture), &window);
    EXPECT_EQ(window.size(), QSize(420, 400));
}

TEST(PermissionWindowTest, WithoutTrustItExplainsAndOffersToGrant) {
    PermissionWindowFixture fixture;
    QQuickView& window = open(fixture);
    EXPECT_NE(visibleItem(window, "name", "lock.circle.fill"), nullptr);
    EXPECT_TRUE(shows(window, "Accessibility access needed"));
    EXPECT_TRUE(shows(window, neededText));
    EXPECT_TRUE(shows(window, "Events are used only to trigger a sound. Nothing is logged, stored, "
                              "or sent anywhere — Morvel makes no network connections at all."));
    EXPECT_TRUE(shows(window, "Open System Settings"));
    EXPECT_TRUE(shows(window, "Grant Access"));
    EXPECT_FALSE(shows(window, "Continue"));
    EXPECT_FALSE(shows(window, "Accessibility access granted"));
}

TEST(PermissionWindowTest, GrantingAccessWhileItIsOpenSwitchesItLive) {
    PermissionWindowFixture fixture(false, loose);
    QQuickView& window = open(fixture);
    EXPECT_TRUE(showsDevelopmentNote(window));
    fixture.grant(true);
    EXPECT_TRUE(runUntil([&] { return !shows(window, "Grant Access"); }));
    QQuickItem* const check = visibleItem(window, "name", "checkmark.circle.fill");
    ASSERT_NE(check, nullptr);
    EXPECT_EQ(check->property("color").value<QColor>(), QColor(40, 167, 69));
    EXPECT_TRUE(shows(window, "Accessibility access granted"));
    EXPECT_TRUE(shows(window, grantedText));
    EXPECT_TRUE(shows(window, "Continue"));
    EXPECT_FALSE(shows(window, "Open System Settings"));
    EXPECT_FALSE(shows(window, neededText));
    EXPECT_FALSE(showsDevelopmentNote(window));
    EXPECT_TRUE(window.isVisible());

    fixture.grant(false);
    EXPECT_TRUE(runUntil([&] { return !shows(window, "Continue"); }));
    EXPECT_TRUE(shows(window, neededText));
    EXPECT_TRUE(showsDevelopmentNote(window));
}

TEST(PermissionWindowTest, InAnApplicationBundleTheDevelopmentNoteNeverShows) {
    PermissionWindowFixture fixture(false, installed);
    QQuickView& window = open(fixture);
    EXPECT_FALSE(showsDevelopmentNote(window));
    fixture.grant(true);
    fixture.grant(false);
    EXPECT_FALSE(showsDevelopmentNote(window));
}

TEST(PermissionWindowTest, ABundleWithoutIdentityOrWithAnotherNameIsUnbundled) {
    for (const ApplicationBundle& bundle :
         {ApplicationBundle{"/a/b.app/bin/m", "/a/b.app", {}, {}},
          ApplicationBundle{"/a/b/bin/m", "/a/b", "app.morvel.Morvel", {}}}) {
        PermissionWindowFixture fixture(false, bundle);
        EXPECT_TRUE(showsDevelopmentNote(open(fixture))) << bundle.path;
    }
}

TEST(PermissionWindowTest, TheDevelopmentNoteNamesTheSystemAndFitsAboveTheButtons) {
    PermissionWindowFixture fixture(false, loose);
    QQuickView& window = open(fixture);
    QQuickItem* const note = visibleItem(window, "objectName", "developmentNote");
    ASSERT_NE(note, nullptr);
    const auto texts =
        visibleItems(note, [](QQuickItem* item) { return item->property("text").isValid(); });
    ASSERT_EQ(texts.size(), 2U); // the note and, within it, its label
    EXPECT_TRUE(texts[0]->property("text").toString().contains("Linux"));
    QQuickItem* const button = visibleItem(window, "text", "Grant Access");
    EXPECT_LT(note->mapToScene({0, note->height()}).y(), button->mapToScene({0, 0}).y());
}

TEST(PermissionWindowTest, WhereAccessIsThePersonsTheDevelopmentNoteNamesNoLaunchingApp) {
    PermissionWindowFixture fixture(false, loose);
    fixture.places.toPerson = true;
    QQuickView& window = open(fixture);
    QQuickItem* const note = visibleItem(window, "objectName", "developmentNote");
    ASSERT_NE(note, nullptr);
    const auto texts =
        visibleItems(note, [](QQuickItem* item) { return item->property("text").isValid(); });
    ASSERT_EQ(texts.size(), 2U);
    const QString text = texts[0]->property("text").toString();
    EXPECT_TRUE(text.contains("person at the screen"));
    EXPECT_FALSE(text.contains("launching app"));
    QQuickItem* const button = visibleItem(window, "text", "Grant Access");
    EXPECT_LT(note->mapToScene({0, note->height()}).y(), button->mapToScene({0, 0}).y());
}

TEST(PermissionWindowTest, ReturnGrantsAccessWhereverTheKeyboardIs) {
    PermissionWindowFixture fixture;
    QQuickView& window = open(fixture);
    QTest::keyClick(&window, Qt::Key_Return);
    EXPECT_EQ(fixture.trust.prompts, 1);
    QTest::keyClick(&window, Qt::Key_Tab);
    QTest::keyClick(&window, Qt::Key_Enter);
    EXPECT_EQ(fixture.trust.prompts, 2);
    EXPECT_TRUE(fixture.places.asked.empty());
}

TEST(PermissionWindowTest, GrantAccessAsksTheSystem) {
    PermissionWindowFixture fixture;
    QQuickView& window = open(fixture);
    click(window, *visibleItem(window, "text", "Grant Access"));
    EXPECT_EQ(fixture.trust.prompts, 1);
}

TEST(PermissionWindowTest, ContinueClosesTheWindowByMouseAndByReturn) {
    PermissionWindowFixture fixture(true);
    QQuickView& window = open(fixture);
    click(window, *visibleItem(window, "text", "Continue"));
    EXPECT_FALSE(window.isVisible());
    open(fixture);
    QTest::keyClick(&window, Qt::Key_Return);
    EXPECT_FALSE(window.isVisible());
    EXPECT_EQ(fixture.trust.prompts, 0);
}

TEST(PermissionWindowTest, OpenSystemSettingsOpensTheDesktopsPlace) {
    PermissionWindowFixture fixture;
    QQuickView& window = open(fixture);
    click(window, *visibleItem(window, "text", "Open System Settings"));
    EXPECT_THAT(fixture.places.asked, ElementsAre("accessibility"));
    EXPECT_EQ(fixture.help.window(), nullptr);
}

TEST(PermissionWindowTest, WhereTheDesktopHasNoPlaceAHelpPageIsShown) {
    PermissionWindowFixture fixture;
    fixture.places.present = false;
    QQuickView& window = open(fixture);
    click(window, *visibleItem(window, "text", "Open System Settings"));
    ASSERT_NE(fixture.help.window(), nullptr);
    EXPECT_TRUE(fixture.help.window()->isVisible());
    EXPECT_TRUE(shows(*fixture.help.window(), "There is no such place."));
}

TEST(PermissionWindowTest, TabGoesRoundTheButtonsAndSpacePressesTheFocusedOne) {
    PermissionWindowFixture fixture;
    QQuickView& window = open(fixture);
    EXPECT_EQ(tabOrder(window), (QStringList{"Open System Settings", "Grant Access"}));
    EXPECT_TRUE(window.activeFocusItem()->property("visualFocus").toBool());
    QTest::keyClick(&window, Qt::Key_Space);
    EXPECT_THAT(fixture.places.asked, ElementsAre("accessibility"));
}

TEST(PermissionWindowTest, AScreenReaderFindsEveryTextAndButtonOnce) {
    PermissionWindowFixture fixture;
    QQuickView& window = open(fixture);
    std::vector<std::pair<QAccessible::Role, QString>> heard;
    for (const Spoken& element : spoken(window))
        heard.emplace_back(element.role, element.name.left(27));
    EXPECT_THAT(
        heard,
        ElementsAre(std::pair(QAccessible::Heading, QString("Accessibility access needed")),
                    std::pair(QAccessible::StaticText, QString("Morvel plays sound in respo")),
                    std::pair(QAccessible::StaticText, QString("Events are used only to tri")),
                    std::pair(QAccessible::Button, QString("Open System Settings")),
                    std::pair(QAccessible::Button, QString("Grant Access"))));
}

} // namespace
} // namespace morvel::test
