#include "app/helpwindow/HelpWindowController.h"
#include "app/views/AppViews.h"
#include "tests/support/MainLoop.h"
#include "tests/support/QuickItems.h"
#include "views/Views.h"

#include <gtest/gtest.h>

namespace morvel::test {
namespace {

class HelpWindowTest : public testing::Test {
protected:
    QQuickView& open(const HelpPage& page) {
        help_.show(page);
        EXPECT_TRUE(runUntil([&] { return help_.window()->isActive(); }));
        return *help_.window();
    }

    HostingWindowFactory windows_{[](QQmlEngine& engine) {
        prepareViews(engine);
        registerAppViews();
    }};
    HelpWindowController help_{windows_};
};

TEST_F(HelpWindowTest, ShowsThePageAndThenTheNextOneInTheSameWindow) {
    QQuickView& window = open({"Title", "A sentence.", "/a/path"});
    EXPECT_TRUE(shows(window, "Title"));
    EXPECT_TRUE(shows(window, "A sentence."));
    EXPECT_TRUE(shows(window, "/a/path"));
    EXPECT_EQ(&open({"Other", "Another.", ""}), &window);
    EXPECT_TRUE(shows(window, "Another."));
    EXPECT_FALSE(shows(window, "/a/path"));
}

TEST_F(HelpWindowTest, ThePathIsReachedSelectedAndNotEditedByTheKeyboard) {
    QQuickView& window = open({"Title", "A sentence.", "/a/path"});
    QTest::keyClick(&window, Qt::Key_Tab);
    EXPECT_EQ(window.activeFocusItem()->property("selectedText"), "/a/path");
    QTest::keyClick(&window, Qt::Key_X);
    EXPECT_TRUE(shows(window, "/a/path"));
    QTest::keyClick(&window, Qt::Key_Tab);
    EXPECT_EQ(window.activeFocusItem()->property("text"), "OK");
}

TEST_F(HelpWindowTest, ReturnClosesIt) {
    QQuickView& window = open({"Title", "A sentence.", ""});
    QTest::keyClick(&window, Qt::Key_Return);
    EXPECT_FALSE(window.isVisible());
}

TEST_F(HelpWindowTest, TheLongestPageEndsAboveTheButton) {
    const std::string reason =
        "Error executing command as another user: No authentication agent found, and the terminal "
        "of this session may not…";
    QQuickView& window =
        open({"No access to the keyboards",
              "The system has not given access to the keyboards: " + reason +
                  ".\n\nAn administrator can give it by this command in a terminal. From then on "
                  "every program of the person at this screen can read all that is typed, "
                  "passwords too, and press keys itself.",
              "sudo /home/somebody/applications/morvel/libexec/morvel-keyboard-access --grant"});
    const auto command = visibleItems(
        window.contentItem(), [](QQuickItem* item) { return item->property("readOnly").toBool(); });
    ASSERT_EQ(command.size(), 1U);
    const QQuickItem* const frame = command.front()->parentItem();
    const QQuickItem* const button = visibleItem(window, "text", "OK");
    ASSERT_NE(button, nullptr);
    const auto top = [](const QQuickItem& item) { return item.mapToScene(QPointF(0, 0)).y(); };
    EXPECT_LE(top(*frame) + frame->height(), top(*button) - 8);
}

} // namespace
} // namespace morvel::test
