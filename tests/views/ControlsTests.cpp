#include "app/windows/HostingWindowFactory.h"
#include "tests/support/MainLoop.h"
#include "tests/support/QuickItems.h"
#include "tests/support/TemporaryFolder.h"
#include "views/Views.h"

#include <gtest/gtest.h>

#include <QPalette>

namespace morvel::test {
namespace {

class ControlsTest : public testing::Test {
protected:
    // A window of these controls.
    QQuickView& open(const std::string& controls) {
        const auto file = folder_.file("View" + std::to_string(++views_) + ".qml",
                                       "import QtQuick\nimport Morvel.Views\nRectangle { id: root\n"
                                       "color: Appearance.window; property int pressed: 0\n" +
                                           controls + "}\n");
        window_ = windows_.makeWindow("Controls", QSize(300, 200),
                                      {QUrl::fromLocalFile(QString::fromStdString(file)), {}});
        bringToFront(*window_);
        EXPECT_TRUE(runUntil([&] { return window_->isExposed() && window_->isActive(); }));
        return *window_;
    }
    int pressed() const { return window_->rootObject()->property("pressed").toInt(); }

    TemporaryFolder folder_;
    int views_ = 0; // an engine loads a file once
    HostingWindowFactory windows_{prepareViews};
    std::unique_ptr<QQuickView> window_;
};

TEST_F(ControlsTest, OnlyAnEnabledVisibleDefaultButtonAnswersReturn) {
    for (const auto& [state, expected] :
         {std::pair("", 1), std::pair("enabled: false", 0), std::pair("visible: false", 0),
          std::pair("defaultAction: false", 0)}) {
        const bool chosen = std::string(state).find("default") != std::string::npos;
        open("Button { text: 'Go'; onClicked: ++root.pressed\n" + std::string(state) +
             (chosen ? "" : "\ndefaultAction: true") + " }");
        QTest::keyClick(window_.get(), Qt::Key_Return);
        EXPECT_EQ(pressed(), expected) << state;
    }
}

TEST_F(ControlsTest, ADisabledButtonAnswersNothing) {
    QQuickView& window = open("Button { text: 'Go'; enabled: false; onClicked: ++root.pressed }");
    click(window, *visibleItem(window, "text", "Go"));
    EXPECT_EQ(pressed(), 0);
}

TEST_F(ControlsTest, TheKeyboardIsSeenAroundWhatItReaches) {
    for (const char* control :
         {"Button { x: 50; y: 50; text: 'Go' }", "Switch { x: 50; y: 50; width: 200; text: 'On' }",
          "Slider { x: 50; y: 50; width: 200 }"}) {
        QQuickView& window = open(control);
        const QImage before = window.grabWindow();
        QTest::keyClick(&window, Qt::Key_Tab);
        EXPECT_TRUE(window.activeFocusItem()->property("visualFocus").toBool()) << control;
        EXPECT_NE(window.grabWindow(), before) << control;
    }
}

TEST_F(ControlsTest, AFocusThatTheMouseGaveIsNotMarked) {
    QQuickView& window = open("Button { x: 50; y: 50; text: 'Go'; onClicked: ++root.pressed }");
    click(window, *visibleItem(window, "text", "Go"));
    EXPECT_EQ(pressed(), 1);
    EXPECT_TRUE(window.activeFocusItem()->property("text") == "Go");
    EXPECT_FALSE(window.activeFocusItem()->property("visualFocus").toBool());
}

TEST_F(ControlsTest, ASwitchIsTurnedByItsTitleAndBySpace) {
    QQuickView& window = open("Switch { width: 200; text: 'On'; onToggled: ++root.pressed }");
    QQuickItem& toggle = *visibleItem(window, "text", "On");
    QTest::mouseClick(&window, Qt::LeftButton, {}, QPoint(10, 10));
    EXPECT_TRUE(toggle.property("checked").toBool());
    QTest::keyClick(&window, Qt::Key_Space);
    EXPECT_FALSE(toggle.property("checked").toBool());
    EXPECT_EQ(pressed(), 2);
}

TEST_F(ControlsTest, KeysDoNotEndWhatASliderShows) {
    QQuickView& window =
        open("property real volume: 0.5\n"
             "Slider { current: root.volume; onChosen: value => root.volume = value }");
    QQuickItem& slider = *visibleItem(window, "stepSize", 0.05);
    slider.forceActiveFocus();
    for (const auto& [key, expected] :
         {std::pair(Qt::Key_PageUp, 0.7), std::pair(Qt::Key_Home, 0.0), std::pair(Qt::Key_Up, 0.05),
          std::pair(Qt::Key_Right, 0.1)}) {
        QTest::keyClick(&window, key);
        EXPECT_NEAR(window.rootObject()->property("volume").toDouble(), expected, 1e-9);
    }
    window.rootObject()->setProperty("volume", 0.25);
    EXPECT_EQ(slider.property("value").toDouble(), 0.25);
}

TEST_F(ControlsTest, AScreenReaderCanUseEveryControl) {
    QQuickView& window = open("Button { text: 'Go'; onClicked: ++root.pressed }\n"
                              "Switch { y: 40; width: 200; text: 'On' }\n"
                              "Slider { y: 80; current: 0.5; Accessible.name: 'Volume' }");
    const auto control = [&](const char* text) {
        return QAccessible::queryAccessibleInterface(visibleItem(window, "text", text));
    };
    ASSERT_NE(control("Go")->actionInterface(), nullptr);
    control("Go")->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    EXPECT_EQ(pressed(), 1);

    EXPECT_FALSE(control("On")->state().checked);
    control("On")->actionInterface()->doAction(QAccessibleActionInterface::toggleAction());
    EXPECT_TRUE(control("On")->state().checked);

    QAccessibleInterface* const slider =
        QAccessible::queryAccessibleInterface(visibleItem(window, "stepSize", 0.05));
    ASSERT_NE(slider->valueInterface(), nullptr);
    EXPECT_EQ(slider->valueInterface()->currentValue().toDouble(), 0.5);
    slider->valueInterface()->setCurrentValue(0.75);
    EXPECT_EQ(slider->valueInterface()->currentValue().toDouble(), 0.75);
}

TEST_F(ControlsTest, DigitsAreEquallyWide) {
    QQuickView& window = open("TabularText { text: '111%' } TabularText { y: 40; text: '888%' }");
    EXPECT_EQ(visibleItem(window, "text", "111%")->width(),
              visibleItem(window, "text", "888%")->width());
}

TEST_F(ControlsTest, ViewsFollowThePalette) {
    const QPalette before = QGuiApplication::palette();
    QQuickView& window = open("Label { text: 'Text' }");
    QPalette dark = before;
    dark.setColor(QPalette::Window, QColor(30, 30, 30));
    dark.setColor(QPalette::WindowText, Qt::white);
    QGuiApplication::setPalette(dark);
    EXPECT_TRUE(runUntil([&] {
        return window.rootObject()->property("color").value<QColor>() == QColor(30, 30, 30);
    }));
    EXPECT_EQ(visibleItem(window, "text", "Text")->property("color").value<QColor>(),
              QColor(Qt::white));
    QGuiApplication::setPalette(before);
}

} // namespace
} // namespace morvel::test
