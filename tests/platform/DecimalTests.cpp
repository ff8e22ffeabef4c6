#include "platform/Decimal.h"

#include <gtest/gtest.h>

#include <limits>

namespace morvel {
namespace {

TEST(Decimal, ReadsTheNearestDouble) {
    EXPECT_EQ(decimal("0"), 0.0);
    EXPECT_EQ(decimal("-0.2"), -0.2);
    EXPECT_EQ(decimal(".5"), 0.5);
    EXPECT_EQ(decimal("5."), 5.0);
    EXPECT_EQ(decimal("1e-3"), 0.001);
    EXPECT_EQ(decimal("2.5E+2"), 250.0);
    EXPECT_EQ(decimal("1.7976931348623157e308"), std::numeric_limits<double>::max());
    EXPECT_EQ(decimal("4.9406564584124654e-324"), std::numeric_limits<double>::denorm_min());
}

TEST(Decimal, ReadsNothingElse) {
    for (const char* text : {"", "-", ".", "e5", "1e", "+1", " 1", "1 ", "1,5", "0x10", "inf",
                             "nan", "1.2.3", "--1", "1e400", "-1e400", "1e-400"})
        EXPECT_EQ(decimal(text), std::nullopt) << text;
}

TEST(Decimal, ReadsTextThatGoesOnBehindItsEnd) {
    EXPECT_EQ(decimal(std::string_view("1.25rest").substr(0, 4)), 1.25);
}

} // namespace
} // namespace morvel
