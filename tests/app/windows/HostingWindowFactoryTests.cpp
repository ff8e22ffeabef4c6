#include "app/windows/HostingWindowFactory.h"
#include "tests/support/MainLoop.h"
#include "tests/support/TemporaryFolder.h"
#include "views/Views.h"

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QImage>
#include <fstream>

namespace {

using namespace morvel;

class HostingWindowFactoryTest : public testing::Test {
protected:
    QUrl view(const std::string& text) {
        const auto file = folder_.path() / "View.qml";
        std::ofstream(file) << text;
        return QUrl::fromLocalFile(QString::fromStdString(file.string()));
    }

    TemporaryFolder folder_;
    HostingWindowFactory factory_{prepareViews};
};

TEST_F(HostingWindowFactoryTest, AWindowHasItsTitleAndAFixedSizeAndShowsSymbols) {
    const auto window = factory_.makeWindow(
        "Morvel", QSize(420, 400),
        {view("import QtQuick\nimport Morvel.Views\n"
              "Rectangle { color: 'white'; Symbol { name: 'circle'; size: 100; color: 'red' } }"),
         {}});
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->title(), "Morvel");
    EXPECT_EQ(window->minimumSize(), QSize(420, 400));
    EXPECT_EQ(window->maximumSize(), QSize(420, 400));
    EXPECT_FALSE(window->isVisible());

    bringToFront(*window);
    ASSERT_TRUE(test::runUntil([&] { return window->isExposed(); }));
    const QImage image = window->grabWindow();
    int red = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            red += image.pixelColor(x, y) == QColor(Qt::red) ? 1 : 0;
    EXPECT_GT(red, 100);
}

TEST_F(HostingWindowFactoryTest, AViewThatCannotBeLoadedGivesNoWindow) {
    EXPECT_EQ(factory_.makeWindow("Morvel", QSize(420, 400), {view("import Nowhere 1.0"), {}}),
              nullptr);
}

class CountingFloatingWindows : public FloatingWindows {
public:
    void prepare(std::uintptr_t window) override { prepared.push_back(window); }
    std::vector<std::uintptr_t> prepared;
};

TEST_F(HostingWindowFactoryTest, AWindowIsMadeToFloatEachTimeBeforeItIsShown) {
    CountingFloatingWindows floating;
    HostingWindowFactory factory(prepareViews, &floating);
    const auto window =
        factory.makeWindow("Morvel", QSize(100, 100), {view("import QtQuick\nItem {}"), {}});
    EXPECT_TRUE(floating.prepared.empty());
    bringToFront(*window);
    ASSERT_EQ(floating.prepared.size(), 1U);
    EXPECT_EQ(floating.prepared.front(), window->winId());
    bringToFront(*window);
    EXPECT_EQ(floating.prepared.size(), 1U);
    window->close();
    bringToFront(*window);
    EXPECT_EQ(floating.prepared.size(), 2U);
}

TEST_F(HostingWindowFactoryTest, ARectangleIsWrittenAsOriginAndSize) {
    EXPECT_EQ(rectangleText(QRect(-3, 87, 464, 624)), "{{-3, 87}, {464, 624}}");
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
    const morvel::TemporaryFolder cache;
    qputenv("QML_DISK_CACHE_PATH", cache.path().c_str());
    QGuiApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
