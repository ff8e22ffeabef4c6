#include "tests/support/MainLoop.h"
#include "views/Appearance.h"
#include "views/ContinuousRectangle.h"
#include "views/SoftShadow.h"
#include "views/SymbolShape.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>
#include <QQuickWindow>
#include <cmath>
#include <vector>

namespace {

using namespace morvel;

// A shape of 40 by 40 points as it is painted in the middle of a white picture.
template <typename Shape>
class Painted : public Shape {
public:
    Painted() { this->setSize({40, 40}); }

    QImage image(qreal scale = 1) const {
        QImage result((QSizeF(80, 80) * scale).toSize(), QImage::Format_ARGB32_Premultiplied);
        result.fill(Qt::white);
        QPainter painter(&result);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.scale(scale, scale);
        painter.translate(20, 20);
        this->paint(painter);
        return result;
    }
    using Shape::overflow;
};

int level(const QImage& image, int x, int y) {
    return image.pixelColor(x, y).red();
}

TEST(ContinuousOutline, CutsTheCornerAsDeepAsACircleAndBeginsEarlier) {
    const QPainterPath outline = continuousOutline(QRectF(0, 0, 100, 100), 20);
    const double depth = 20 * (1 - 1 / std::sqrt(2.0));
    EXPECT_FALSE(outline.contains(QPointF(depth - 0.2, depth - 0.2)));
    EXPECT_TRUE(outline.contains(QPointF(depth + 0.2, depth + 0.2)));
    EXPECT_FALSE(outline.contains(QPointF(21, 0.05))) << "a circle's corner ends before";
    EXPECT_TRUE(outline.contains(QPointF(31, 0.05)));
    EXPECT_EQ(outline.boundingRect(), QRectF(0, 0, 100, 100));
}

TEST(ContinuousOutline, IsTheSameInEveryCorner) {
    const QPainterPath outline = continuousOutline(QRectF(0, 0, 60, 40), 10);
    for (double x = 0.05; x < 20; x += 0.7)
        for (double y = 0.05; y < 20; y += 0.7) {
            const bool inside = outline.contains(QPointF(x, y));
            EXPECT_EQ(outline.contains(QPointF(60 - x, y)), inside);
            EXPECT_EQ(outline.contains(QPointF(x, 40 - y)), inside);
            EXPECT_EQ(outline.contains(QPointF(60 - x, 40 - y)), inside);
        }
}

TEST(ContinuousOutline, EndsAreRoundFromHalfTheHeightOn) {
    const QPainterPath capsule = continuousOutline(QRectF(0, 0, 76, 40), 20);
    EXPECT_FALSE(capsule.contains(QPointF(20 - 20 * 0.8, 20 - 20 * 0.62)));
    EXPECT_TRUE(capsule.contains(QPointF(20 - 20 * 0.78, 20 - 20 * 0.6)));
}

TEST(ContinuousRectangle, TakesPointsWithinItsOutlineOnly) {
    ContinuousRectangle circle;
    circle.setSize({40, 40});
    circle.setRadius(20);
    EXPECT_TRUE(circle.contains({20, 1}));
    EXPECT_FALSE(circle.contains({4, 4}));
    EXPECT_FALSE(circle.contains({20, 41}));
}

TEST(ContinuousRectangle, FillsWithItsColourAndKeepsItsBorderInside) {
    Painted<ContinuousRectangle> shape;
    shape.setColor(Qt::red);
    shape.setBorderColor(Qt::black);
    shape.setBorderWidth(2);
    const QImage image = shape.image();
    EXPECT_EQ(image.pixelColor(40, 40), QColor(Qt::red));
    EXPECT_EQ(image.pixelColor(40, 21), QColor(Qt::black));
    EXPECT_EQ(image.pixelColor(40, 22), QColor(Qt::red));
    EXPECT_EQ(image.pixelColor(40, 19), QColor(Qt::white));
}

TEST(PaintedShape, AShapeBetweenPixelsIsSharpInTheWindow) {
    QQuickWindow window;
    window.resize(40, 40);
    window.setColor(Qt::white);
    auto* shape = new ContinuousRectangle(window.contentItem());
    shape->setColor(Qt::black);
    shape->setPosition({5.5, 8});
    shape->setSize({20, 20});
    window.show();
    ASSERT_TRUE(test::runUntil([&] { return window.isExposed(); }));
    const auto columns = [&] {
        const QImage image = window.grabWindow();
        const auto y = image.height() / 2;
        return std::vector{level(image, 4, y),  level(image, 5, y),  level(image, 6, y),
                           level(image, 24, y), level(image, 25, y), level(image, 26, y)};
    };
    const auto half = testing::AllOf(testing::Ge(126), testing::Le(129));
    EXPECT_THAT(columns(), testing::ElementsAre(255, half, 0, 0, half, 255));
    shape->setX(5);
    EXPECT_THAT(columns(), testing::ElementsAre(255, 0, 0, 0, 255, 255)) << "painted anew";
}

TEST(ContinuousRectangle, LightFallsOnWhatStandsOutFromAboveAndOnWhatIsSunkFromBelow) {
    Painted<ContinuousRectangle> shape;
    shape.setColor(Qt::gray);
    shape.setRelief(1);
    EXPECT_GT(level(shape.image(), 40, 23), level(shape.image(), 40, 56));
    shape.setRelief(-1);
    EXPECT_LT(level(shape.image(), 40, 23), level(shape.image(), 40, 56));
    shape.setRelief(0);
    EXPECT_EQ(level(shape.image(), 40, 23), level(shape.image(), 40, 56));
}

TEST(SoftShadow, IsDeepestUnderTheShapeAndFadesWithinItsOverflow) {
    Painted<SoftShadow> shadow;
    shadow.setColor(QColor(0, 0, 0, 84));
    shadow.setRadius(3);
    const QImage image = shadow.image();
    EXPECT_EQ(level(image, 40, 40), 255 - 84);
    EXPECT_NEAR(level(image, 60, 40), 255 - 42, 8) << "half of it at the edge";
    int before = 0;
    for (int x = 50; x < 80; ++x) {
        EXPECT_GE(level(image, x, 40), before);
        before = level(image, x, 40);
    }
    EXPECT_EQ(level(image, 60 + static_cast<int>(std::ceil(shadow.overflow())), 40), 255);
}

TEST(SoftShadow, LooksTheSameAtEveryScale) {
    Painted<SoftShadow> shadow;
    shadow.setRadius(2);
    shadow.setCornerRadius(20);
    shadow.setOffset(2);
    const QImage small = shadow.image();
    const QImage large = shadow.image(2);
    for (const int y : {16, 40, 60, 64})
        EXPECT_NEAR(level(small, 40, y), level(large, 80, 2 * y + 1), 6) << y;
}

TEST(SoftShadow, AHollowOneLeavesOutWhatIsUnderTheShape) {
    Painted<SoftShadow> shadow;
    shadow.setRadius(2);
    shadow.setOffset(2);
    shadow.setHollow(true);
    EXPECT_EQ(level(shadow.image(), 40, 40), 255);
    EXPECT_EQ(level(shadow.image(), 40, 58), 255);
    EXPECT_LT(level(shadow.image(), 40, 60), 255);
}

TEST(SoftShadow, WithoutARadiusThereIsNone) {
    EXPECT_EQ(level(Painted<SoftShadow>().image(), 40, 40), 255);
}

TEST(SymbolShape, ASymbolStandsInTheMiddleInItsColourAndNothingForAnUnknownName) {
    Painted<SymbolShape> symbol;
    symbol.setSize({40, 20});
    symbol.setName("largecircle.fill.circle");
    symbol.setColor(Qt::blue);
    EXPECT_EQ(symbol.image().pixelColor(40, 30), QColor(Qt::blue));
    EXPECT_EQ(symbol.image(2).pixelColor(80, 60), QColor(Qt::blue));
    EXPECT_EQ(symbol.image().pixelColor(26, 30), QColor(Qt::white));
    symbol.setName("nothing");
    EXPECT_EQ(symbol.image().pixelColor(40, 30), QColor(Qt::white));
}

TEST(Appearance, BlendsColoursByWhatTheyCover) {
    const QColor faintRed(255, 0, 0, 51);
    const QColor blue(0, 0, 255);
    EXPECT_EQ(Appearance::blended(faintRed, blue, -1), faintRed);
    EXPECT_EQ(Appearance::blended(faintRed, blue, 1.2), blue);
    const QColor half = Appearance::blended(faintRed, blue, 0.5);
    EXPECT_NEAR(half.alphaF(), 0.6, 0.01);
    EXPECT_NEAR(half.redF(), 1.0 / 6, 0.01);
    EXPECT_NEAR(half.blueF(), 5.0 / 6, 0.01);
    EXPECT_EQ(Appearance::blended(Qt::transparent, Qt::transparent, 0.5).alpha(), 0);
}

} // namespace
