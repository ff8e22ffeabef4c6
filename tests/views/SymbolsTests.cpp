#include "views/Symbols.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace morvel {
namespace {

class SymbolTest : public testing::TestWithParam<const char*> {};

double inkOf(const QImage& image) {
    double ink = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            ink += image.pixelColor(x, y).alphaF();
    return ink / (image.width() * image.height());
}

TEST_P(SymbolTest, IsDrawnInItsColourAtEverySize) {
    for (const int pixels : {11, 16, 22, 44}) {
        const QImage image = symbolImage(GetParam(), Qt::red, pixels);
        ASSERT_EQ(image.size(), QSize(pixels, pixels));
        EXPECT_GT(inkOf(image), 0.08) << pixels;
        EXPECT_LT(inkOf(image), 0.75) << pixels;
        for (int y = 0; y < pixels; ++y)
            for (int x = 0; x < pixels; ++x)
                if (image.pixelColor(x, y).alpha() == 255) {
                    ASSERT_EQ(image.pixelColor(x, y), QColor(Qt::red));
                }
    }
}

INSTANTIATE_TEST_SUITE_P(OfTheWindows, SymbolTest,
                         testing::Values("hand.tap.fill", "speaker.slash.fill",
                                         "checkmark.circle.fill", "lock.circle.fill",
                                         "hand.raised.fill", "hammer.fill", "speaker.fill",
                                         "largecircle.fill.circle", "circle",
                                         "exclamationmark.triangle.fill"),
                         [](const auto& symbol) {
                             std::string name = symbol.param;
                             std::replace(name.begin(), name.end(), '.', '_');
                             return name;
                         });

TEST(SymbolsTest, AnUnknownNameGivesNoPicture) {
    EXPECT_TRUE(symbolImage("no/thing", Qt::red, 16).isNull());
    EXPECT_TRUE(symbolImage("nothing", Qt::red, 16).isNull());
    EXPECT_TRUE(symbolImage("circle", Qt::red, 0).isNull());
    EXPECT_TRUE(symbolIcon("nothing", Qt::red).isNull());
}

} // namespace
} // namespace morvel
