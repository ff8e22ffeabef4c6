#include "themes/NameOrder.h"

#include <gtest/gtest.h>

namespace morvel {
namespace {

// A locale that sorts backwards, to see that the locale decides.
class Backwards : public std::collate<wchar_t> {
protected:
    string_type do_transform(const wchar_t* begin, const wchar_t* end) const override {
        string_type key;
        for (; begin != end; ++begin)
            key.push_back(static_cast<wchar_t>(0x110000 - *begin));
        return key;
    }
};

TEST(NameOrder, PutsLetterCaseAside) {
    const NameOrder order(std::locale::classic());
    EXPECT_EQ(order.keyOf("Clicky"), order.keyOf("cLICKY"));
    EXPECT_EQ(order.keyOf("ÄRGER"), order.keyOf("ärger"));
    EXPECT_LT(order.keyOf("alpha"), order.keyOf("Beta"));
    EXPECT_LT(order.keyOf("Alpha"), order.keyOf("beta"));
    EXPECT_LT(order.keyOf(""), order.keyOf("a"));
}

TEST(NameOrder, LeavesTheOrderToTheLocale) {
    const NameOrder order(std::locale(std::locale::classic(), new Backwards));
    EXPECT_GT(order.keyOf("alpha"), order.keyOf("Beta"));
}

TEST(NameOrder, WorksInALocaleThatIsNotInstalled) {
    const char* const before = getenv("LC_ALL"); // NOLINT(concurrency-mt-unsafe)
    const std::string kept = before == nullptr ? "" : before;
    setenv("LC_ALL", "xx_XX.nowhere", 1); // NOLINT(concurrency-mt-unsafe)
    const NameOrder order = NameOrder::ofTheUser();
    if (before == nullptr)
        unsetenv("LC_ALL"); // NOLINT(concurrency-mt-unsafe)
    else
        setenv("LC_ALL", kept.c_str(), 1); // NOLINT(concurrency-mt-unsafe)
    EXPECT_LT(order.keyOf("alpha"), order.keyOf("Beta"));
}

TEST(NameOrder, SortsEndlessAndBrokenNamesByTheirBeginning) {
    const NameOrder order(std::locale::classic());
    EXPECT_EQ(order.keyOf(std::string(1000000, 'a')), order.keyOf(std::string(2000000, 'A')));
    EXPECT_LT(order.keyOf("a\xff"), order.keyOf("b\xfe"));
}

} // namespace
} // namespace morvel
