#include "tests/app/settingswindow/SettingsWindowFixture.h"
#include "tests/support/MainLoop.h"
#include "tests/support/QuickItems.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace morvel::test {
namespace {

using testing::ElementsAre;

class ThemeSectionTest : public testing::Test, protected SettingsWindowFixture {
protected:
    QQuickView& open() {
        themes.activate("mechanical");
        QQuickView& window = shown();
        EXPECT_TRUE(runUntil([&] { return window.isExposed(); }));
        return window;
    }
    // The row of the theme `name`.
    static QQuickItem& row(QQuickView& window, const QString& name) {
        QQuickItem* const found = visibleItem(window, "name", name);
        if (found == nullptr)
            throw std::runtime_error("no row " + name.toStdString());
        return *found;
    }
    static QQuickItem* markOf(QQuickItem& row) {
        const auto symbols =
            visibleItems(&row, [](QQuickItem* item) { return item->property("size").isValid(); });
        return symbols.empty() ? nullptr : symbols.front();
    }
    static QQuickItem* labelIn(QQuickItem& row, const QString& text) {
        const auto labels =
            visibleItems(&row, [&](QQuickItem* item) { return item->property("text") == text; });
        return labels.empty() ? nullptr : labels.front();
    }
};

TEST_F(ThemeSectionTest, ARowTellsNameSourceAuthorAndCoverage) {
    addTheme(user, "typewriter", "Typewriter", "Ada");
    QQuickView& window = open();
    QQuickItem& own = row(window, "Typewriter");
    EXPECT_NE(labelIn(own, "Typewriter"), nullptr);
    EXPECT_NE(labelIn(own, "Installed"), nullptr);
    EXPECT_NE(labelIn(own, "by Ada"), nullptr);
    EXPECT_NE(labelIn(own, "24 of 32 categories, 8 inherited from Default"), nullptr);
    EXPECT_NE(labelIn(row(window, "Default"), "Built-in"), nullptr);
}

TEST_F(ThemeSectionTest, AThemeWithoutAuthorNamesNone) {
    addTheme(user, "nobodys", "Nobody's");
    QQuickView& window = open();
    EXPECT_EQ(labelIn(row(window, "Nobody's"), "by "), nullptr);
}

TEST_F(ThemeSectionTest, AThemesNameIsNoMarkUp) {
    addTheme(user, "bold", "<b>Bold</b> <img src='file:///etc/passwd'>");
    QQuickView& window = open();
    QQuickItem* const label = labelIn(row(window, "<b>Bold</b> <img src='file:///etc/passwd'>"),
                                      "<b>Bold</b> <img src='file:///etc/passwd'>");
    ASSERT_NE(label, nullptr);
    EXPECT_EQ(label->property("textFormat").toInt(), Qt::PlainText);
}

TEST_F(ThemeSectionTest, AClickMakesAThemeActiveAndKeepsTheChoice) {
    QQuickView& window = open();
    EXPECT_EQ(markOf(row(window, "Mechanical"))->property("name"), "largecircle.fill.circle");
    EXPECT_EQ(markOf(row(window, "Default"))->property("name"), "circle");
    EXPECT_EQ(
        labelIn(row(window, "Mechanical"), "Mechanical")->property("font").value<QFont>().weight(),
        QFont::DemiBold);

    click(window, row(window, "Default"));
    EXPECT_EQ(themes.activeThemeID(), "default");
    EXPECT_EQ(settings.themeID(), "default");
    EXPECT_EQ(markOf(row(window, "Default"))->property("name"), "largecircle.fill.circle");
    EXPECT_EQ(markOf(row(window, "Mechanical"))->property("name"), "circle");
    EXPECT_EQ(
        labelIn(row(window, "Mechanical"), "Mechanical")->property("font").value<QFont>().weight(),
        QFont::Normal);
}

TEST_F(ThemeSectionTest, ArrowsWalkTheListAndSpaceChooses) {
    QQuickView& window = open();
    ASSERT_TRUE(runUntil([&] { return window.isActive(); }));
    row(window, "Default").forceActiveFocus(Qt::TabFocusReason);
    QTest::keyClick(&window, Qt::Key_Down);
    EXPECT_EQ(window.activeFocusItem(), &row(window, "Mechanical"));
    QTest::keyClick(&window, Qt::Key_Up);
    EXPECT_EQ(window.activeFocusItem(), &row(window, "Default"));
    QTest::keyClick(&window, Qt::Key_Space);
    EXPECT_EQ(themes.activeThemeID(), "default");
}

TEST_F(ThemeSectionTest, AThemeThatFailsShowsItsErrorAndTheOldOneStaysActive) {
    addTheme(user, "broken", "Broken");
    QQuickView& window = open();
    writeText(user / "broken/manifest.json", "{");
    click(window, row(window, "Broken"));
    const QString error = QString::fromStdString(themes.lastError().value_or("none"));
    EXPECT_TRUE(error.startsWith("Could not load “broken”"));
    QQuickItem* const label = visibleItem(window, "text", error);
    ASSERT_NE(label, nullptr);
    EXPECT_EQ(label->property("color").value<QColor>(), QColor(217, 111, 0));
    EXPECT_NE(visibleItem(window, "name", "exclamationmark.triangle.fill"), nullptr);
    EXPECT_EQ(markOf(row(window, "Mechanical"))->property("name"), "largecircle.fill.circle");

    themes.activate("default");
    EXPECT_EQ(visibleItem(window, "name", "exclamationmark.triangle.fill"), nullptr);
}

TEST_F(ThemeSectionTest, RescanFindsNewThemesWithoutARestart) {
    QQuickView& window = open();
    addTheme(user, "new", "New");
    EXPECT_FALSE(shows(window, "New"));
    QTest::keyClick(&window, Qt::Key_End);
    click(window, *visibleItem(window, "text", "Rescan"));
    EXPECT_TRUE(shows(window, "New"));
}

TEST_F(ThemeSectionTest, RemovingEveryThemeAndRescanningShowsThatThereAreNone) {
    QQuickView& window = open();
    EXPECT_FALSE(shows(window, "No themes found."));
    std::filesystem::remove_all(bundled / "default");
    std::filesystem::remove_all(bundled / "mechanical");
    QTest::keyClick(&window, Qt::Key_End);
    click(window, *visibleItem(window, "text", "Rescan"));
    EXPECT_TRUE(shows(window, "No themes found."));
    EXPECT_FALSE(shows(window, "Mechanical"));
    addTheme(bundled, "default", "Default");
    themes.refreshCatalog();
    EXPECT_FALSE(shows(window, "No themes found."));
}

TEST_F(ThemeSectionTest, RevealThemesFolderCreatesAndShowsTheUsersFolder) {
    std::filesystem::remove_all(user);
    QQuickView& window = open();
    QTest::keyClick(&window, Qt::Key_End);
    click(window, *visibleItem(window, "text", "Reveal Themes Folder"));
    EXPECT_THAT(places.asked, ElementsAre(user.string()));
    EXPECT_TRUE(std::filesystem::is_directory(user));
}

TEST_F(ThemeSectionTest, ARescanThatFindsTheSameThemesLeavesTheKeyboardWhereItIs) {
    QQuickView& window = open();
    ASSERT_TRUE(runUntil([&] { return window.isActive(); }));
    QQuickItem& focused = row(window, "Mechanical");
    focused.forceActiveFocus(Qt::TabFocusReason);
    themes.refreshCatalog();
    EXPECT_EQ(window.activeFocusItem(), &focused);
}

TEST_F(ThemeSectionTest, TheSectionExplainsItself) {
    QQuickView& window = open();
    EXPECT_TRUE(shows(window,
                      "One theme applies to every module. Cohesion between the keyboard and "
                      "the toys is the point; use the volume sliders above to balance "
                      "them."));
    EXPECT_TRUE(shows(window, "Drop a theme folder into the Themes folder and press Rescan — no "
                              "reinstall needed."));
}

TEST_F(ThemeSectionTest, ARowThatIsNotThereChoosesNothing) {
    open();
    SettingsModel model(
        {settings, themes, permission, catalog, login, output, hotKeys, places, help});
    model.activateTheme(-1);
    model.activateTheme(2);
    EXPECT_EQ(themes.activeThemeID(), "mechanical");
}

} // namespace
} // namespace morvel::test
